/* The library's part of the models. Each inline stands for the function that the comment above it names.

   A critical section is one step: what it looks at is guarded by its mutex, and log sinks and comparisons of endpoints,
   which run inside, wait for nothing. Only those of the registration are several steps, since other bundles' service
   listeners run there.

   What a model defines before it includes this file: PUBLISHERS; TRACKERS, of which each publication has one; OWNERS, the
   handles and builders; `endpointsOf`, the events that the endpoints of a publisher need; `timed`, whether waits have
   time-outs; `disturbances`, how much may still go wrong, as a log sink that throws; and the inlines `sendUpdate` and
   `sendRemoval`, the calls to Configuration Admin. */

#include "synchronisation.pml"

/* What a wait waits for, besides an error. */
#define ENDPOINTS 1
#define SERVICES 2
#define WITHDRAWAL 3

#define ALL ((1 << PUBLISHERS) - 1)

typedef ConfigTracker {
  bit mutex;
  byte sleepers;
  byte outstanding;
  bit allServicesPublished;
  bit allServicesUnpublished;
  bit error;
  byte reported  /* what the listener was told in this revision or a later one; only for assertions */
}

typedef Listener {
  byte owners;
  byte count;
  bit completionMutex;
  byte completed;
  bit removalInProgress;
  ConfigTracker publisher[PUBLISHERS]
}

typedef UpdateTracker {
  byte owners;
  bit registrationMutex;
  bit removalPrepared;
  bit registered;
  bit prepared  /* whether prepareForRemoval has returned; only for assertions */
}

Listener listener[TRACKERS];
UpdateTracker tracker[TRACKERS];
bit registry[TRACKERS];  /* whether the framework's service registry has the listener */

/* What owns the identity of a configuration: handles and builders, both by number. */
bit hasID[OWNERS];
byte withdrawals[OWNERS];

#define state(t, p) listener[t].publisher[p]

/* src/tracking/ConfigTracker.cpp: allEndpointsComplete */
#define allEndpointsComplete(t, p) (state(t, p).outstanding == 0)

/* src/tracking/ConfigTracker.cpp: isComplete */
#define isComplete(t, p) (state(t, p).error || (allEndpointsComplete(t, p) && state(t, p).allServicesPublished))

#define holds(t, p, condition)                                        \
  ((condition == ENDPOINTS && allEndpointsComplete(t, p)) ||          \
   (condition == SERVICES && state(t, p).allServicesPublished) ||     \
   (condition == WITHDRAWAL && state(t, p).allServicesUnpublished))

/* src/tracking/ConfigTracker.cpp: wait */
#define decided(t, p, condition) (state(t, p).error || holds(t, p, condition))

/* The same by what was reported. */
#define mayHold(t, p, condition)                                                                          \
  ((condition == ENDPOINTS && (state(t, p).reported & endpointsOf(p)) == endpointsOf(p)) ||               \
   (condition == SERVICES && (state(t, p).reported & PUBLISHED)) ||                                       \
   (condition == WITHDRAWAL && (state(t, p).reported & UNPUBLISHED)))

/* Whether enough was reported for the publisher to count as completed. */
#define mayBeCompleted(t, p)                                                          \
  ((state(t, p).reported & (FAILED | UNPUBLISHED)) ||                                 \
   (state(t, p).reported & (endpointsOf(p) | PUBLISHED)) == (endpointsOf(p) | PUBLISHED))

/* src/tracking/ConfigTracker.cpp: completeEndpoint
   src/tracking/ConfigTracker.cpp: removeEqual
   src/tracking/ConfigTracker.cpp: ~NotifyAtEnd */
inline completeEndpoint(t, p, endpoint) {
  atomic {
    lock(state(t, p).mutex);
    if
    :: isComplete(t, p) -> complete = 1
    :: else ->
       if
       :: !(state(t, p).outstanding & endpoint)
       :: else ->
          state(t, p).outstanding = state(t, p).outstanding & ~endpoint;
          notify = allEndpointsComplete(t, p);
          if
          :: complete = isComplete(t, p)
          :: disturbances > 0 -> disturbances--; thrown = 1
          fi
       fi
    fi;
    unlock(state(t, p).mutex)
  };
  if
  :: atomic { notify -> notify = 0; notifyAll(state(t, p).sleepers) }
  :: else
  fi
}

/* src/tracking/ConfigTracker.cpp: completeAllServicesPublished */
inline completeAllServicesPublished(t, p) {
  atomic {
    lock(state(t, p).mutex);
    if
    :: isComplete(t, p) -> complete = 1
    :: else ->
       if
       :: state(t, p).allServicesPublished
       :: else ->
          if
          :: disturbances > 0 -> disturbances--; thrown = 1
          :: state(t, p).allServicesPublished = 1; notify = 1; complete = isComplete(t, p)
          fi
       fi
    fi;
    unlock(state(t, p).mutex)
  };
  if
  :: atomic { notify -> notify = 0; notifyAll(state(t, p).sleepers) }
  :: else
  fi
}

/* src/tracking/ConfigTracker.cpp: completeAllServicesUnpublished */
inline completeAllServicesUnpublished(t, p) {
  atomic {
    lock(state(t, p).mutex);
    notify = !state(t, p).allServicesUnpublished;
    state(t, p).allServicesUnpublished = 1;
    unlock(state(t, p).mutex)
  };
  if
  :: atomic { notify -> notify = 0; notifyAll(state(t, p).sleepers) }
  :: else
  fi
}

/* src/tracking/ConfigTracker.cpp: setError */
inline setError(t, p) {
  atomic {
    lock(state(t, p).mutex);
    if
    :: !isComplete(t, p) -> state(t, p).error = 1; notify = 1
    :: else
    fi;
    unlock(state(t, p).mutex)
  };
  if
  :: atomic { notify -> notify = 0; notifyAll(state(t, p).sleepers) }
  :: else
  fi
}

/* src/tracking/ConfigTracker.cpp: wait
   Leaves its result in `inTime` and `thrown`. Checks that it returns true only if the listener was told what was waited
   for, about this publisher, in this revision or a later one, and throws only an error that it was told. */
inline waitFor(t, p, condition) {
  do
  :: atomic {
       wakeUp(state(t, p).sleepers, timed);
       lock(state(t, p).mutex);
       if
       :: expired || decided(t, p, condition) ->
          expired = 0;
          inTime = decided(t, p, condition);
          thrown = inTime && state(t, p).error;
          assert(!inTime || thrown || mayHold(t, p, condition));
          assert(!thrown || (state(t, p).reported & FAILED));
          unlock(state(t, p).mutex);
          break
       :: else -> sleep(state(t, p).mutex, state(t, p).sleepers)
       fi
     }
  od
}

/* src/tracking/ConfigTracker.cpp: wait
   With a time-out of zero: looks once. */
inline lookFor(t, p, condition) {
  atomic {
    lock(state(t, p).mutex);
    inTime = decided(t, p, condition);
    thrown = inTime && state(t, p).error;
    unlock(state(t, p).mutex)
  }
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: registerListener
   The registry shares the listener. */
inline registerListener(t) {
  atomic {
    assert(!registry[t]);
    registry[t] = 1;
    listener[t].owners++;
    tracker[t].registered = 1
  }
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: create
   src/tracking/SPFConfigurationUpdateTracker.cpp: enable */
inline create(t, modificationCount) {
  atomic {
    tracker[t].owners = 1;
    listener[t].owners = 1;
    listener[t].count = modificationCount;
    state(t, 0).outstanding = endpointsOf(0)
  };
  lock(tracker[t].registrationMutex);
  registerListener(t);
  unlock(tracker[t].registrationMutex)
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: unregister
   Begins with the mutex locked, and unlocks it. Other bundles' service listeners run between the two steps. Throws if the
   framework's stop has unregistered the listener. */
inline unregister(t) {
  if
  :: atomic { tracker[t].registered && registry[t] -> registry[t] = 0; listener[t].owners-- };
     atomic { tracker[t].registered = 0; unlock(tracker[t].registrationMutex) }
  :: atomic { tracker[t].registered && !registry[t] -> thrown = 1; unlock(tracker[t].registrationMutex) }
  :: atomic { !tracker[t].registered -> unlock(tracker[t].registrationMutex) }
  fi
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: unregisterListener */
inline unregisterListener(t) {
  lock(tracker[t].registrationMutex);
  unregister(t)
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: unregisterAfterCompletion */
inline unregisterAfterCompletion(t) {
  atomic { lock(tracker[t].registrationMutex); assert(tracker[t].owners > 0) };
  if
  :: atomic { !tracker[t].removalPrepared -> assert(!tracker[t].prepared) };
     unregister(t)
  :: atomic { tracker[t].removalPrepared -> unlock(tracker[t].registrationMutex) }
  fi
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: ~SPFConfigurationUpdateTracker
   Runs in the thread that releases the last reference. */
inline releaseTracker(t) {
  if
  :: atomic { tracker[t].owners == 1 -> tracker[t].owners = 0 };
     unregisterListener(t);
     atomic { thrown = 0; listener[t].owners-- }
  :: atomic { tracker[t].owners != 1 -> assert(tracker[t].owners > 1); tracker[t].owners-- }
  fi
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: enable
   The weak reference can be locked as long as there is an owner. */
inline allCompleteCallback(t) {
  if
  :: atomic { tracker[t].owners > 0 -> tracker[t].owners++ };
     unregisterAfterCompletion(t);
     releaseTracker(t)
  :: tracker[t].owners == 0
  fi
}

/* src/tracking/FrameworkSetupListener.cpp: configTrackerCompleted
   A publisher is complete, or was reported as failed or unpublished. */
inline configTrackerCompleted(t, p) {
  atomic {
    lock(listener[t].completionMutex);
    listener[t].completed = listener[t].completed | (1 << p);
    call = !listener[t].removalInProgress && listener[t].completed == ALL;
    assert(!call || (!tracker[t].prepared && mayBeCompleted(t, 0) && mayBeCompleted(t, PUBLISHERS - 1)));
    unlock(listener[t].completionMutex)
  };
  if
  :: call -> call = 0; allCompleteCallback(t)
  :: else
  fi
}

/* src/tracking/FrameworkSetupListener.cpp: route
   Sets `accepted`. The publisher PUBLISHERS is another configuration's. Records the event for the assertions. */
inline route(t, kind, p, modificationCount) {
  if
  :: modificationCount < listener[t].count -> accepted = 0
  :: else -> accepted = (p != PUBLISHERS)
  fi;
  if
  :: p != PUBLISHERS && modificationCount >= listener[t].count -> state(t, p).reported = state(t, p).reported | kind
  :: else
  fi
}

/* src/tracking/FrameworkSetupListener.cpp: handleEvent
   src/tracking/FrameworkSetupListener.cpp: apply */
inline handleEvent(t, kind, p) {
  if
  :: !accepted
  :: else ->
     accepted = 0;
     if
     :: kind == FAILED -> setError(t, p); complete = 1
     :: kind == PUBLISHED -> completeAllServicesPublished(t, p)
     :: kind == UNPUBLISHED -> completeAllServicesUnpublished(t, p); complete = 1
     :: kind == BOUND || kind == CONNECTED -> completeEndpoint(t, p, kind)
     :: kind == UNKNOWN
     fi;
     if
     :: complete -> complete = 0; configTrackerCompleted(t, p)
     :: else
     fi
  fi
}

/* src/tracking/FrameworkSetupListener.cpp: setRemovalInProgress */
inline setRemovalInProgress(t) {
  atomic { lock(listener[t].completionMutex); listener[t].removalInProgress = 1; unlock(listener[t].completionMutex) }
}

/* src/tracking/SPFConfigurationUpdateTracker.cpp: prepareForRemoval */
inline prepareForRemoval(t) {
  setRemovalInProgress(t);
  lock(tracker[t].registrationMutex);
  tracker[t].removalPrepared = 1;
  if
  :: !tracker[t].registered -> registerListener(t)
  :: else
  fi;
  atomic { unlock(tracker[t].registrationMutex); tracker[t].prepared = 1 }
}

/* src/tracking/removeFromConfigurationAdmin.cpp: removeFromConfigurationAdmin */
inline removeFromConfigurationAdmin(owner) {
  if
  :: hasID[owner] ->
     atomic { withdrawals[owner]++; assert(withdrawals[owner] == 1) };
     sendRemoval()
  :: else
  fi
}

/* src/tracking/SPFConfigurationImplWaits.cpp: waitForAllServicesToBeUnpublished
   src/tracking/SPFConfigurationUpdateTracker.cpp: waitForAllServicesToBeUnpublished
   Leaves its result in `inTime` and `thrown`. */
inline waitForAllServicesToBeUnpublished(owner, t, p) {
  prepareForRemoval(t);
  removeFromConfigurationAdmin(owner);
  hasID[owner] = 0;
  waitFor(t, p, WITHDRAWAL);
  if
  :: thrown
  :: else -> unregisterListener(t)
  fi
}

/* src/publish/SPFConfigurationImpl.cpp: publishToConfigurationAdmin
   src/publish/SPFConfigurationImpl.cpp: SPFConfigurationImpl */
inline publishConfiguration(owner, t, modificationCount) {
  hasID[owner] = 1;
  create(t, modificationCount);
  sendUpdate(modificationCount)
}

/* src/publish/SPFConfigurationImpl.cpp: ~SPFConfigurationImpl
   src/tracking/SPFConfigurationWaits.cpp: reset
   src/tracking/removeFromConfigurationAdmin.cpp: removeFromConfigurationAdminQuietly */
inline destroyConfiguration(owner, t) {
  removeFromConfigurationAdmin(owner);
  hasID[owner] = 0;
  releaseTracker(t)
}
