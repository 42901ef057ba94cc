/* PublisherWatch. Each inline stands for the function that the comment above it names. What a model defines before it
   includes this file: PUBLISHERS, `timed`, and `quiet`, which holds when the limit of silence may be over. */

typedef PublisherState {
  byte reported;  /* revisions, of which the first is 1; 0 is none */
  byte published;
  byte unpublished;
  byte failed
}

PublisherState watched[PUBLISHERS];
byte expected = 1;
bit watchMutex;
byte watchSleepers;
byte watchOwners;  /* of the watch's listener */
bit watchRegistered;
bit silenceOver;  /* for one wait */

bit callbackMutex;
byte callbackSleepers;
bit hasCallback;
bit callbackStopped;
byte callers;
bit callbackGone;  /* whether the watch's destructor has returned; only for assertions */

#define larger(left, right) (left > right -> left : right)

/* framework/watch/src/PublisherState.cpp: isPublished */
#define isPublished(p) (watched[p].published >= expected)

/* framework/watch/src/PublisherState.cpp: hasFailed */
#define hasFailed(p) (watched[p].failed >= expected && watched[p].failed >= watched[p].published)

/* framework/watch/src/PublisherState.cpp: isPresent */
#define isPresent(p) (watched[p].reported > watched[p].unpublished)

/* framework/watch/src/PublisherState.cpp: isSilent */
#define isSilent(p) (watched[p].reported < expected && watched[p].unpublished < expected)

/* framework/watch/src/WatchListener.cpp: areAllPublished */
#define areAllPublished (isPublished(0) && isPublished(1))

/* framework/watch/src/WatchListener.cpp: hasAnyFailed */
#define hasAnyFailed (hasFailed(0) || hasFailed(1))

/* framework/watch/src/WatchListener.cpp: isAnyPresent */
#define isAnyPresent (isPresent(0) || isPresent(1))

/* framework/watch/src/WatchListener.cpp: isAnySilent */
#define isAnySilent (isSilent(0) || isSilent(1))

/* framework/watch/src/PublisherState.cpp: notePublished
   framework/watch/src/PublisherState.cpp: noteReport */
inline notePublished(p, revision) {
  if
  :: revision < watched[p].unpublished
  :: else ->
     if
     :: revision == watched[p].unpublished -> watched[p].unpublished = 0
     :: else
     fi;
     watched[p].reported = larger(watched[p].reported, revision);
     watched[p].published = larger(watched[p].published, revision)
  fi
}

/* framework/watch/src/PublisherState.cpp: noteUnpublished */
inline noteUnpublished(p, revision) {
  watched[p].unpublished = larger(watched[p].unpublished, revision);
  if
  :: watched[p].published <= watched[p].unpublished -> watched[p].published = 0
  :: else
  fi
}

/* framework/watch/src/PublisherState.cpp: noteFailure
   framework/watch/src/PublisherState.cpp: noteReport */
inline noteFailure(p, revision) {
  watched[p].reported = larger(watched[p].reported, revision);
  if
  :: revision > watched[p].unpublished && revision > watched[p].failed -> watched[p].failed = revision
  :: else
  fi
}

/* framework/watch/src/StoppableCallback.hpp: call
   framework/watch/src/StoppableCallback.hpp: begin
   framework/watch/src/StoppableCallback.hpp: end
   What the function refers to may be destroyed after the watch. */
inline callOnChange() {
  atomic {
    lock(callbackMutex);
    if
    :: !callbackStopped && hasCallback -> callers = callers | me; call = 1
    :: else
    fi;
    unlock(callbackMutex)
  };
  if
  :: call ->
     call = 0;
     assert(!callbackGone);
     atomic { lock(callbackMutex); callers = callers & ~me; unlock(callbackMutex) };
     notifyAll(callbackSleepers)
  :: else
  fi
}

/* framework/watch/src/StoppableCallback.hpp: stop */
inline stop() {
  do
  :: atomic {
       wakeUp(callbackSleepers, 0);
       lock(callbackMutex);
       callbackStopped = 1;
       if
       :: callers == 0 -> unlock(callbackMutex); break
       :: else -> sleep(callbackMutex, callbackSleepers)
       fi
     }
  od
}

/* framework/watch/src/WatchListener.cpp: handleEvent
   framework/watch/src/WatchListener.cpp: note */
inline watchEvent(kind, p, revision) {
  atomic {
    lock(watchMutex);
    if
    :: kind == PUBLISHED -> notePublished(p, revision)
    :: kind == UNPUBLISHED -> noteUnpublished(p, revision)
    :: kind == FAILED -> noteFailure(p, revision)
    fi;
    unlock(watchMutex)
  };
  notifyAll(watchSleepers);
  callOnChange()
}

/* framework/watch/src/PublisherWatch.cpp: PublisherWatch
   framework/watch/src/PublisherWatch.cpp: registerListener */
inline constructWatch() {
  atomic { watchOwners = 2; watchRegistered = 1 }
}

/* framework/watch/src/PublisherWatch.cpp: ~PublisherWatch */
inline destroyWatch() {
  atomic { watchRegistered = 0; watchOwners-- };
  stop();
  atomic { callbackGone = 1; watchOwners-- }
}

/* framework/watch/src/WatchListener.cpp: expectRevision */
inline expectRevision(revision) {
  atomic {
    lock(watchMutex);
    if
    :: revision > expected -> expected = revision
    :: else
    fi;
    unlock(watchMutex)
  }
}

/* framework/watch/src/WatchListener.cpp: waitUntilAllPublished
   framework/watch/src/WatchListener.cpp: publishedResult */
inline waitUntilAllPublished() {
  do
  :: atomic {
       wakeUp(watchSleepers, timed);
       lock(watchMutex);
       if
       :: expired || areAllPublished || hasAnyFailed ->
          expired = 0;
          inTime = areAllPublished && !hasAnyFailed;
          thrown = hasAnyFailed;
          unlock(watchMutex);
          break
       :: else -> sleep(watchMutex, watchSleepers)
       fi
     }
  od
}

/* framework/watch/src/WatchListener.cpp: waitUntilAllUnpublished
   framework/watch/src/WatchListener.cpp: unpublishedResult
   Once the limit of silence is over, waits for those that are present only. */
inline waitUntilAllUnpublished() {
  do
  :: atomic {
       if
       :: wakeUp(watchSleepers, timed)
       :: (watchSleepers & me) && quiet && !silenceOver -> watchSleepers = watchSleepers & ~me; silenceOver = 1
       fi;
       lock(watchMutex);
       if
       :: expired || (!isAnyPresent && (!isAnySilent || silenceOver)) ->
          expired = 0;
          inTime = !isAnyPresent && (!isAnySilent || silenceOver);
          silenceOver = 0;
          unlock(watchMutex);
          break
       :: else -> sleep(watchMutex, watchSleepers)
       fi
     }
  od
}
