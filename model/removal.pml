/* Removal: the caller waits for services, or does not, and withdraws the configuration: with a wait for a publisher, with
   two of them, or by destroying the handle. The threads of two publishers report meanwhile, each in the order of what it
   does, and may be in the middle of a completion when the removal is prepared.

   DISTURBANCES things happen besides: an error or a doubled event arrives, or a log sink throws, after which the event is
   sent again. If the waits have time-outs, a late "unpublished" of an old incarnation may arrive too, the removal may also reach the framework before it has read
   the configuration, Configuration Admin may throw, and the framework may be stopped, which empties the registry. */

#define PUBLISHERS 2
#define TRACKERS 1
#define OWNERS 1
#define REVISION 1

#ifdef LARGE
#define DISTURBANCES 2
#else
#define DISTURBANCES 1
#endif

#include "events.pml"

bit timed;
byte disturbances = DISTURBANCES;
bit updated;
bit removed;
bit removalFailed;
byte reportersEnded;

inline sendUpdate(modificationCount) {
  updated = 1
}

inline sendRemoval() {
  if
  :: removed = 1
  :: atomic { timed && disturbances > 0 -> disturbances--; removalFailed = 1 }
  fi
}

#ifdef LARGE
#define endpointsOf(p) (p == 0 -> BOUND : 0)
#else
#define endpointsOf(p) 0
#endif

#include "library.pml"

/* What a publisher does next. */
#define BIND 0
#define PUBLISH 1
#define AWAIT_REMOVAL 2

inline chooseNext() {
  p = own;
  if
#ifdef LARGE
  :: next == BIND -> kind = BOUND; next = PUBLISH
#endif
  :: next == PUBLISH -> kind = PUBLISHED; next = AWAIT_REMOVAL
  :: removed -> kind = UNPUBLISHED; ended = 1
  fi
}

inline chooseDisturbance() {
  disturbances--;
  if
  :: p = 0
  :: p = 1
  fi;
  if
  :: kind = FAILED
  :: kind = PUBLISHED
  :: timed || removed -> kind = UNPUBLISHED
  fi
}

/* framework/bundles/framework/controller/EventDispatcher.cpp: deliver */
proctype Reporter(byte own) {
  THREAD(7);
  byte kind, p;
  bit found, ended;
  byte next = (endpointsOf(own) -> BIND : PUBLISH);
  do
  :: atomic {
       updated && !ended;
       if
       :: next != AWAIT_REMOVAL || removed -> chooseNext()
       :: own == 1 && disturbances > 0 -> chooseDisturbance()
       :: timed && removed -> ended = 1  /* never read the configuration */
       :: removalFailed && next == AWAIT_REMOVAL -> ended = 1
       fi;
       if
       :: kind && registry[0] -> listener[0].owners++; route(0, kind, p, REVISION); found = 1
       :: kind && registry[0] && timed && disturbances > 0 ->  /* the framework is stopped */
          disturbances--;
          registry[0] = 0;
          listener[0].owners--
       :: !kind || !registry[0]
       fi
     };
     if
     :: found ->
        handleEvent(0, kind, p);
        atomic {
          if
#ifdef LARGE
          :: thrown && kind == BOUND && p == own -> next = BIND
#endif
          :: thrown && kind == PUBLISHED && p == own -> next = PUBLISH
          :: else
          fi;
          assert(listener[0].owners > 0);
          listener[0].owners--
        }
     :: else
     fi;
     d_step { found = 0; thrown = 0; kind = 0; p = 0 }
  :: ended -> break
  od;
  reportersEnded++
}

/* Untimed, it returns, and the listener is gone. If it throws, the listener stays. */
inline withdraw(p) {
  waitForAllServicesToBeUnpublished(0, 0, p);
  atomic { assert(timed || inTime); assert(thrown || !registry[0]); inTime = 0; thrown = 0 }
}

active proctype Caller() {
  THREAD(0);
  byte waits, p;
  atomic {
    if
    :: timed = 0
    :: timed = 1
    fi;
    run Reporter(0);
    run Reporter(1)
  };
  publishConfiguration(0, 0, REVISION);
  if
  :: waitFor(0, 0, SERVICES); atomic { assert(timed || inTime); inTime = 0; thrown = 0 }
  :: skip
  fi;
  if
  :: waits = 0
  :: waits = 1
  :: waits = 2
  fi;
  do
  :: waits > 0 ->
     withdraw(p);
     waits--;
     if
     :: timed -> p = 1  /* its report may have come when nothing listened */
     :: p = 0
     fi
  :: waits == 0 -> break
  od;
  destroyConfiguration(0, 0);
  reportersEnded == 2;
  assert(tracker[0].owners == 0 && listener[0].owners == 0 && !registry[0] && withdrawals[0] == 1)
}
