/* Completion: a configuration is published, two of the framework's threads report on its publishers in any order, two
   threads wait, and the handle is destroyed, perhaps while events are still being delivered.

   DISTURBANCES things happen besides: an event arrives that is doubled, stale, of a newer revision, about another
   configuration's publisher, an error or of an unknown kind, or a log sink throws, after which the event is sent again.
   If the waits have time-outs, events are also lost, and "unpublished" ones of an old incarnation arrive. */

#ifdef LARGE
#define DISTURBANCES 2
#else
#define DISTURBANCES 1
#endif

#define PUBLISHERS 2
#define TRACKERS 1
#define OWNERS 1
#define REVISION 2

#include "events.pml"

bit timed;
byte disturbances = DISTURBANCES;
byte unsent[PUBLISHERS];  /* the events that the framework still has to send */
bit held;  /* whether the first publisher's services are published once the caller has seen its endpoints, not before */
bit updated;
bit waiterEnded;
byte reportersEnded;

inline sendUpdate(modificationCount) {
  atomic { updated = 1; unsent[0] = BOUND | CONNECTED | (held -> 0 : PUBLISHED); unsent[1] = PUBLISHED }
}

inline sendRemoval() {
  skip
}

/* The first publisher's endpoints are tracked, those of the other one are not. */
#define endpointsOf(p) (p == 0 -> BOUND | CONNECTED : 0)

#include "library.pml"

inline chooseUnsent() {
  p = own;
  if
  :: unsent[p] & BOUND -> kind = BOUND
  :: unsent[p] & CONNECTED -> kind = CONNECTED
  :: unsent[p] & PUBLISHED -> kind = PUBLISHED
  fi;
  unsent[p] = unsent[p] & ~kind;
  modificationCount = REVISION
}

inline chooseDisturbance() {
  disturbances--;
  if
  :: p = 0
  :: p = 1
  :: p = PUBLISHERS
  fi;
  if
  :: kind = BOUND
  :: kind = PUBLISHED
  :: kind = FAILED
  :: kind = UNKNOWN
  :: timed -> kind = UNPUBLISHED
  fi;
  if
  :: modificationCount = REVISION - 1
  :: modificationCount = REVISION
  :: modificationCount = REVISION + 1
  fi
}

/* A thread of the framework, which sends what concerns one publisher; the last one sends the disturbances too. It shares
   the listener while it delivers an event.
   framework/bundles/framework/controller/EventDispatcher.cpp: deliver */
proctype Reporter(byte own) {
  THREAD(7);
  byte kind, p, modificationCount;
  bit found;
  do
  :: atomic {
       updated;
       if
       :: unsent[own] -> chooseUnsent()
       :: own == 1 && disturbances > 0 -> chooseDisturbance()
       :: !unsent[own] && (own == 1 || !held) -> break
       fi;
       if
       :: registry[0] -> listener[0].owners++; route(0, kind, p, modificationCount); found = 1
       :: timed && disturbances > 0 -> disturbances--  /* lost */
       :: !registry[0]
       fi;
       modificationCount = 0
     };
     if
     :: found ->
        handleEvent(0, kind, p);
        atomic {
          if
          :: thrown -> unsent[p] = unsent[p] | kind
          :: else
          fi;
          assert(listener[0].owners > 0);
          listener[0].owners--
        }
     :: else
     fi;
     d_step { found = 0; thrown = 0; kind = 0; p = 0 }
  od;
  reportersEnded++
}

/* Waits for the same publisher as the caller; in the large model perhaps for the other one. */
proctype Waiter() {
  THREAD(1);
  byte p;
#ifdef LARGE
  if
  :: p = 0
  :: p = 1
  fi;
#endif
  waitFor(0, p, SERVICES);
  atomic { assert(timed || inTime); waiterEnded = 1 }
}

/* Waits until the first publisher is complete, and looks once more: it still is, and takes no error any more. */
inline waitUntilComplete() {
  waitFor(0, 0, ENDPOINTS);
  atomic {
    if
    :: held -> held = 0; unsent[0] = unsent[0] | PUBLISHED
    :: else
    fi
  };
  if
  :: inTime && !thrown ->
     waitFor(0, 0, SERVICES);
     if
     :: inTime && !thrown -> atomic { lookFor(0, 0, SERVICES); assert(inTime && !thrown) }
     :: else
     fi
  :: else
  fi;
  atomic { assert(timed || inTime); inTime = 0; thrown = 0 }
}

active proctype Caller() {
  THREAD(0);
  atomic {
    if
    :: timed = 0
    :: held = 1
    :: timed = 1
    fi;
    run Reporter(0);
    run Reporter(1)
  };
  publishConfiguration(0, 0, REVISION);
  run Waiter();
  waitUntilComplete();
  waiterEnded;
  if
  :: reportersEnded == 2 -> assert(timed || !registry[0])
  :: reportersEnded < 2
  fi;
  destroyConfiguration(0, 0);
  reportersEnded == 2;
  assert(tracker[0].owners == 0 && listener[0].owners == 0 && !registry[0] && withdrawals[0] == 1)
}
