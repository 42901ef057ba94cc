#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <vector>

#include "Choices.hpp"
#include "Trace.hpp"

namespace spf::test::schedules {

/// Runs the threads of a test one at a time, in an order that a seed decides.
///
/// The thread that calls `run` takes part, and so does every thread that one of them starts. The test executable
/// defines the functions of the C library that lock, wait, notify, start and join (see interposition.cpp), and hands
/// over the calls of those threads; all others pass through. Each of these calls is a decision: which thread goes on,
/// and whether a wait with a time-out ends now. Time is virtual, and passes only when a wait times out. Reads and
/// writes of atomic objects are no decisions.
///
/// In some schedules, a part of the mutexes is quiet: locking a free one and unlocking it are no decisions there. Most
/// mutexes are the runtime's; without decisions there, those about the library's own follow one another more closely.
///
/// Every mutex counts, also those inside of the runtime and of Boost.Log: a thread that is stopped while it holds one
/// must not block the process. What the C library locks inside of itself, and the memory allocator, is never held at a
/// decision. The C library runs the destructors of thread-local objects after a thread has left; these pass through.
///
/// A failure ends the process at once, since threads that are stuck cannot be ended: see explore.hpp.
class Scheduler {
 public:
  struct Thread;
  enum class Access { exclusive, shared };

  Scheduler(std::uint64_t seed, Trace& trace);
  ~Scheduler();
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  /// Runs the body as the first thread. All threads that it started must have been joined when it returns.
  void run(const std::function<void()>& body);

  /// Returns the scheduler that the calling thread takes part in; null for other threads, and inside of a scheduler.
  static Scheduler* ofThisThread();

  /// Ends the process, with the trace and this text.
  [[noreturn]] void fail(const char* text);

  /// Fails if the object is in memory that was released.
  void check(const void* object, char kind);

  /// Decides, and continues when the object is free. The caller then locks it for real, which does not block.
  void acquire(const void* object, char kind, Access access, bool recursive = false);
  /// Notes a lock that was tried without waiting, and had been decided about with `decide`.
  void acquired(const void* object, char kind, Access access);
  /// Notes that the caller has unlocked the object, and decides.
  void release(const void* object, char kind);
  /// Decides before an operation that does not block.
  void decide(const char* operation, const void* object, char kind);

  /// Puts the caller among the waiting threads of the condition, frees the mutex, and continues when the caller was
  /// notified or its time is up, and the mutex is free, which then is the caller's. Call `decide` before.
  ///
  /// \param deadline  in nanoseconds of the virtual time; `never` without one
  /// \return whether the time is up
  bool wait(const void* condition, const void* mutex, std::int64_t deadline);
  void notify(const void* condition, bool all);

  /// Prepares a thread that the caller starts.
  Thread& addThread();
  void started(Thread& thread, pthread_t handle);
  void notStarted(Thread& thread);
  /// Are called by the thread itself.
  void enter(Thread& thread);
  void leave();
  void join(pthread_t handle);

  /// Keeps memory that a thread has released until the schedule has ended. So numbers of objects do not depend on the
  /// allocator, and a mutex that is used after its end is noticed.
  void keepReleased(void* memory, std::size_t size);

  std::int64_t now() const { return now_; }

  static constexpr std::int64_t never = INT64_MAX;

 private:
  struct Object;
  enum class State { ready, locking, waiting, joining, ended };

  Object& find(const void* object, char kind);
  void switchFrom(Thread& thread);
  void count();
  Thread& chooseNext(Thread& last);
  void expire(Thread& thread);
  static bool canGoOn(const Thread& thread);
  static bool isFree(const Object& object, Access access);
  void take(Object& object, Access access);
  void free(Object& object);
  void describeThreads();

  Trace& trace_;
  Choices choices_;
  std::list<Thread> threads_;
  std::map<const void*, Object> objects_;
  std::map<char, int> numbers_;
  std::map<const void*, std::size_t, std::greater<>> released_;
  std::int64_t now_;
};

/// Fails the schedule unless the condition holds.
void require(bool condition, const char* text);

}  // namespace spf::test::schedules
