/* Revisions: a configuration is published and then either modified, where the edit may be abandoned or its publication may
   fail, or withdrawn and published again under the same IDs. Two publishers read what Configuration Admin holds when they
   get to it, so that changes are merged, and report on their own threads; the reports of one arrive in order. Revisions
   and incarnations overlap: the events of the old one may arrive when the new one listens.

   The caller may use a PublisherWatch. If that says that all publishers are gone, the next incarnation receives no event
   of the one before. Without it nothing separates the two, so that waits need time-outs. */

#define PUBLISHERS 2
#define TRACKERS 2
#define OWNERS 3

/* Whether the trackers handle the events that a watch handles too. They share nothing. */
#ifdef LARGE
#define BOTH 1
#else
#define BOTH 0
#endif

#include "events.pml"

#define FIRST 0  /* handles, and the builder between them */
#define SECOND 1
#define BUILDER 2

bit timed;
byte disturbances;
bit usesWatch;
bit clean;  /* whether the watch has said that all publishers of the first incarnation are gone */
bit mayFail;
bit callerEnded;
byte publishersEnded;

/* What Configuration Admin holds. */
byte revision;
bit present;
bit incarnation;
byte changes;

/* Of each publisher: how many changes it has read, the revision that it reports, and whether it is sending a report. */
byte changesRead[PUBLISHERS];
byte reporting[PUBLISHERS];
bit sending[PUBLISHERS];
byte failedRevision;  /* of the second publisher, which may fail */

#define quiet \
  (changesRead[0] == changes && changesRead[1] == changes && !sending[0] && !sending[1])

inline sendUpdate(modificationCount) {
  if
  :: atomic { present = 1; revision = modificationCount; changes++ }
  :: atomic { mayFail -> thrown = 1 }
  fi
}

inline sendRemoval() {
  atomic { present = 0; changes++ }
}

#define endpointsOf(p) 0

#include "library.pml"
#include "watch.pml"

/* Reads the newest change. A publisher that has not been read in between reports nothing. */
inline readChange() {
  if
  :: reporting[own] && (!present || incarnation != ownIncarnation) ->
     kind = UNPUBLISHED; count = reporting[own]; reporting[own] = 0
  :: present && (!reporting[own] || incarnation == ownIncarnation) ->
     if
     :: kind = PUBLISHED
     :: own == 1 && ((usesWatch && !timed) || BOTH) -> kind = FAILED; failedRevision = revision
     fi;
     count = revision; reporting[own] = revision; ownIncarnation = incarnation; changesRead[own] = changes
  :: !present && !reporting[own] -> changesRead[own] = changes
  fi;
  if
  :: kind -> sending[own] = 1; listeners = registry[0] | (registry[1] << 1) | (watchRegistered << 2)
  :: else
  fi
}

/* A publisher, and the thread that delivers its reports to those who listen when a report is made.
   framework/bundles/framework/controller/EventDispatcher.cpp: deliver */
proctype Publisher(byte own) {
  THREAD(1 + own);
  byte kind, count, t, listeners;
  bit found, ownIncarnation;
  do
  :: atomic { changesRead[own] != changes -> readChange() };
     do
     :: atomic {
          listeners & 4 ->
          listeners = listeners & ~4;
          if
          :: watchRegistered -> watchOwners++; found = 1
          :: else
          fi
        };
        if
        :: found ->
           watchEvent(kind, own, count);
           atomic { assert(watchOwners > 0); watchOwners--; found = 0 }
        :: else
        fi
     :: atomic {
#ifdef LARGE
          listeners & 3 ->
#else
          listeners && !(listeners & 4) ->
#endif
          if
          :: listeners & 1 -> t = 0
#ifdef LARGE
          :: listeners & 2 -> t = 1
#else
          :: listeners == 2 -> t = 1
#endif
          fi;
          listeners = listeners & ~(1 << t);
          if
          :: registry[t] ->
             assert(!clean || t == 0 || ownIncarnation == 1);
             if
             :: !usesWatch || BOTH -> listener[t].owners++; route(t, kind, own, count); found = 1
             :: else
             fi
          :: else
          fi
        };
        if
        :: found ->
           handleEvent(t, kind, own);
           atomic { assert(listener[t].owners > 0); listener[t].owners--; found = 0 }
        :: else
        fi;
        t = 0
     :: !listeners -> break
     od;
     atomic { kind = 0; count = 0; sending[own] = 0 }
  :: atomic { callerEnded && changesRead[own] == changes -> break }
  od;
  publishersEnded++
}

/* Lets the caller wait for the publication, or not. */
inline mayWait(t, count) {
  if
  :: skip
  :: usesWatch && watchRegistered ->
     waitUntilAllPublished();
     assert(timed || inTime || thrown);
     assert(!inTime || (reporting[0] >= count && reporting[1] >= count && failedRevision < count));
     assert(!thrown || failedRevision >= count)
  :: !usesWatch ->
     waitFor(t, 0, SERVICES);
     assert(timed || inTime)
  fi;
  atomic { inTime = 0; thrown = 0 }
}

/* Waits with the watch for all publishers to be gone, and destroys the watch. */
inline finishWatch() {
  if
  :: usesWatch && watchRegistered ->
     waitUntilAllUnpublished();
     atomic {
       assert(timed || inTime);
       assert(!inTime || (!reporting[0] && !reporting[1] && !isPublished(0) && !isPublished(1)));
       clean = inTime;
       inTime = 0
     };
     destroyWatch()
  :: else
  fi
}

active proctype Caller() {
  THREAD(0);
  bit modified, failed;
  byte count;
  atomic {
    if
    :: timed = 0
    :: timed = 1
    fi;
    if
    :: usesWatch = 1; constructWatch()
    :: usesWatch = 0
    fi;
    hasCallback = usesWatch && (!timed || BOTH);
    run Publisher(0);
    run Publisher(1)
  };
  publishConfiguration(FIRST, 0, 1);
  mayWait(0, 1);
  if
  :: /* src/model/SPFConfiguration.cpp: modify */
     atomic { !timed || usesWatch || BOTH -> hasID[BUILDER] = 1; hasID[FIRST] = 0; modified = 1 };
     if
     :: /* src/model/SPFConfigurationBuilder.cpp: build */
        atomic { hasID[BUILDER] = 0; count = 2; mayFail = !timed }
     :: skip  /* abandoned */
     fi
  :: usesWatch || timed ->
     destroyConfiguration(FIRST, 0);
     finishWatch();
     atomic { count = 1; incarnation = 1 }
  fi;
  if
  :: count ->
     publishConfiguration(SECOND, 1, count);
     mayFail = 0;
     if
     :: thrown ->  /* its destructor does not run, so the first revision stays */
        atomic { thrown = 0; count = 0; failed = 1; hasID[SECOND] = 0 };
        releaseTracker(1)
     :: else ->
        expectRevision(count)
     fi
  :: else
  fi;
  if
  :: modified ->
     destroyConfiguration(FIRST, 0);
     /* src/model/SPFConfigurationBuilderImpl.cpp: ~SPFConfigurationBuilderImpl */
     removeFromConfigurationAdmin(BUILDER)
  :: else
  fi;
  if
  :: count ->
     mayWait(1, count);
     destroyConfiguration(SECOND, 1)
  :: else
  fi;
  assert(present == failed);
  if
  :: failed -> atomic { present = 0; changes++ }  /* somebody else withdraws it */
  :: else
  fi;
  finishWatch();
  callerEnded = 1;
  publishersEnded == 2;
  assert(tracker[0].owners == 0 && listener[0].owners == 0 && !registry[0]);
  assert(tracker[1].owners == 0 && listener[1].owners == 0 && !registry[1]);
  assert(watchOwners == 0)
}
