/* Mutexes, condition variables and shared pointers, as the models use them. */

/* What every thread of a model declares. `holding`: whether it holds a mutex. The others are results of inlines. */
#define THREAD(number)              \
  byte me = 1 << (number);          \
  bit holding, thrown, inTime, expired, call, notify, complete, accepted

/* std::mutex. No thread may hold two of ours at once. */
inline lock(mutex_) {
  atomic { mutex_ == 0 -> assert(!holding); mutex_ = 1; holding = 1 }
}

inline unlock(mutex_) {
  atomic { assert(mutex_ && holding); mutex_ = 0; holding = 0 }
}

/* std::condition_variable: the set of the threads that sleep. Releases the mutex and sleeps, in one step. There are no
   spurious wake-ups, which would hide lost notifications. */
inline sleep(mutexOfWait, sleepers_) {
  sleepers_ = sleepers_ | me;
  unlock(mutexOfWait)
}

/* Passes a thread that does not sleep or was notified, or whose wait has a time-out, which may be over at any time. */
inline wakeUp(sleepers_, hasTimeout) {
  if
  :: !(sleepers_ & me)
  :: atomic { hasTimeout && (sleepers_ & me) -> sleepers_ = sleepers_ & ~me; expired = 1 }
  fi
}

inline notifyAll(sleepers_) {
  sleepers_ = 0
}
