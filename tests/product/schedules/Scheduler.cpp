#include "Scheduler.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#endif

namespace spf::test::schedules {

namespace {

constexpr std::uint64_t longestSchedule = 20000;
constexpr std::int64_t beginning = 1'000'000'000'000;
// One of so many decisions lets a time-out happen, if there is one.
constexpr std::uint64_t timeOutsAreRare = 8;

thread_local Scheduler::Thread* self = nullptr;
thread_local Scheduler* mine = nullptr;
thread_local int insideOfScheduler = 0;

// What the scheduler itself allocates and releases is none of the schedule's.
struct Inside {
  Inside() { ++insideOfScheduler; }
  ~Inside() { --insideOfScheduler; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
};

}  // namespace

struct Scheduler::Object {
  char kind = ' ';
  int number = 0;
  bool isQuiet = false;
  Thread* owner = nullptr;
  int depth = 0;
  int readers = 0;
  std::vector<Thread*> sleepers;
};

struct Scheduler::Thread {
  Thread(int itsNumber, std::uint64_t itsPriority) : number(itsNumber), priority(itsPriority) { sem_init(&turn, 0, 0); }
  ~Thread() { sem_destroy(&turn); }
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  void awaitTurn() {
    while (sem_wait(&turn) != 0) {
    }
  }

  const int number;
  std::uint64_t priority;
  State state = State::ready;
  Object* object = nullptr;  // that it locks or waits for
  Access access = Access::exclusive;
  Object* mutex = nullptr;  // to be locked after the wait
  std::int64_t deadline = never;
  bool timedOut = false;
  Thread* joined = nullptr;
  pthread_t handle{};
  sem_t turn{};
};

Scheduler::Scheduler(std::uint64_t seed, Trace& trace) : trace_(trace), choices_(seed), now_(beginning) {}

Scheduler::~Scheduler() {
  for (const auto& [memory, size] : released_) {
#if defined(__SANITIZE_ADDRESS__)
    __asan_unpoison_memory_region(memory, size);
#endif
    std::free(const_cast<void*>(memory));
  }
}

Scheduler* Scheduler::ofThisThread() {
  return insideOfScheduler == 0 ? mine : nullptr;
}

void Scheduler::run(const std::function<void()>& body) {
  mine = this;
  {
    const Inside inside;
    self = &addThread();
  }
  body();
  const Inside inside;
  self->state = State::ended;
  if (!std::all_of(threads_.begin(), threads_.end(),
                   [](const Thread& thread) { return thread.state == State::ended; })) {
    fail("threads are left that nobody has joined");
  }
  self = nullptr;
  mine = nullptr;
}

void Scheduler::fail(const char* text) {
  const Inside inside;
  describeThreads();
  trace_.add("FAILED: %s", text);
  trace_.hasFailed = true;
  _exit(1);
}

void Scheduler::describeThreads() {
  for (const auto& thread : threads_) {
    switch (thread.state) {
      case State::ready:
        trace_.add("t%d could go on", thread.number);
        break;
      case State::locking:
        trace_.add("t%d wants %c%d, owner %s%d", thread.number, thread.object->kind, thread.object->number,
                   thread.object->owner != nullptr ? "t" : "none or readers: ",
                   thread.object->owner != nullptr ? thread.object->owner->number : thread.object->readers);
        break;
      case State::waiting:
        trace_.add("t%d waits on c%d", thread.number, thread.object->number);
        break;
      case State::joining:
        trace_.add("t%d joins t%d", thread.number, thread.joined->number);
        break;
      case State::ended:
        break;
    }
  }
}

Scheduler::Object& Scheduler::find(const void* object, char kind) {
  const auto block = released_.lower_bound(object);  // the last one that begins no later
  if (block != released_.end() &&
      static_cast<const char*>(object) < static_cast<const char*>(block->first) + block->second) {
    trace_.add("t%d uses what was released", self->number);
    fail("a mutex or condition is used after its memory was released");
  }
  auto& found = objects_[object];
  if (found.number == 0) {
    found.kind = kind;
    found.number = ++numbers_[kind];
    found.isQuiet = choices_.isNewObjectQuiet();
  }
  return found;
}

bool Scheduler::isFree(const Object& object, Access access) {
  return object.owner == nullptr && (access == Access::shared || object.readers == 0);
}

bool Scheduler::canGoOn(const Thread& thread) {
  switch (thread.state) {
    case State::ready:
      return true;
    case State::locking:
      return isFree(*thread.object, thread.access);
    case State::joining:
      return thread.joined->state == State::ended;
    case State::waiting:
    case State::ended:
      return false;
  }
  return false;
}

void Scheduler::take(Object& object, Access access) {
  if (access == Access::shared) {
    ++object.readers;
  } else {
    object.owner = self;
    object.depth = 1;
  }
}

void Scheduler::free(Object& object) {
  if (object.owner == nullptr) {
    object.readers = std::max(0, object.readers - 1);  // none if it was locked before the schedule
  } else if (--object.depth == 0) {
    object.owner = nullptr;
  }
}

void Scheduler::count() {
  if (++trace_.decisions > longestSchedule) {
    fail("the schedule does not end");
  }
}

// Time-outs are decisions of their own: they make a thread ready, and another decision follows.
Scheduler::Thread& Scheduler::chooseNext(Thread& last) {
  for (;;) {
    count();
    std::vector<Thread*> ready;
    std::vector<Thread*> expiring;
    std::vector<std::uint64_t*> priorities;
    for (auto& thread : threads_) {
      if (canGoOn(thread)) {
        ready.push_back(&thread);
        priorities.push_back(&thread.priority);
      } else if (thread.state == State::waiting && thread.deadline != never) {
        expiring.push_back(&thread);
      }
    }
    if (ready.empty() && expiring.empty()) {
      fail("deadlock: no thread can go on, and no wait can time out");
    }
    if (ready.empty() || (!expiring.empty() && choices_.below(timeOutsAreRare) == 0)) {
      expire(*expiring[choices_.below(expiring.size())]);
    } else {
      return *ready[choices_.choose(priorities, last.priority)];
    }
  }
}

void Scheduler::expire(Thread& thread) {
  trace_.add("t%d times out", thread.number);
  now_ = std::max(now_, thread.deadline);
  auto& sleepers = thread.object->sleepers;
  sleepers.erase(std::find(sleepers.begin(), sleepers.end(), &thread));
  thread.timedOut = true;
  thread.state = State::locking;
  thread.object = thread.mutex;
}

// The state says what the thread needs to go on; it has it when this returns.
void Scheduler::switchFrom(Thread& thread) {
  auto& next = chooseNext(thread);
  if (&next != &thread) {
    sem_post(&next.turn);
    thread.awaitTurn();
  }
  thread.state = State::ready;
}

void Scheduler::check(const void* object, char kind) {
  const Inside inside;
  find(object, kind);
}

void Scheduler::acquire(const void* object, char kind, Access access, bool recursive) {
  const Inside inside;
  auto& found = find(object, kind);
  if (recursive && found.owner == self) {
    ++found.depth;
    return;
  }
  if (found.isQuiet && isFree(found, access)) {
    count();
  } else {
    self->state = State::locking;
    self->object = &found;
    self->access = access;
    switchFrom(*self);
    find(object, kind);  // may have been released meanwhile
  }
  take(found, access);
  trace_.add("t%d %s %c%d", self->number, access == Access::shared ? "shares" : "locks", found.kind, found.number);
}

void Scheduler::acquired(const void* object, char kind, Access access) {
  const Inside inside;
  auto& found = find(object, kind);
  if (found.owner == self) {
    ++found.depth;
  } else {
    take(found, access);
  }
}

void Scheduler::release(const void* object, char kind) {
  const Inside inside;
  auto& found = find(object, kind);
  free(found);
  trace_.add("t%d unlocks %c%d", self->number, found.kind, found.number);
  if (!found.isQuiet) {
    switchFrom(*self);
  }
}

void Scheduler::decide(const char* operation, const void* object, char kind) {
  const Inside inside;
  switchFrom(*self);
  const auto& found = find(object, kind);
  trace_.add("t%d %s %c%d", self->number, operation, found.kind, found.number);
}

bool Scheduler::wait(const void* condition, const void* mutex, std::int64_t deadline) {
  const Inside inside;
  auto& found = find(condition, 'c');
  auto& held = find(mutex, 'm');
  free(held);
  found.sleepers.push_back(self);
  self->state = State::waiting;
  self->object = &found;
  self->access = Access::exclusive;
  self->mutex = &held;
  self->deadline = deadline;
  self->timedOut = false;
  switchFrom(*self);
  find(condition, 'c');
  take(find(mutex, 'm'), Access::exclusive);
  trace_.add("t%d wakes up, locks m%d", self->number, held.number);
  return self->timedOut;
}

void Scheduler::notify(const void* condition, bool all) {
  const Inside inside;
  auto& sleepers = find(condition, 'c').sleepers;
  while (!sleepers.empty()) {
    const auto chosen = sleepers.begin() + static_cast<std::ptrdiff_t>(choices_.below(sleepers.size()));
    auto& thread = **chosen;
    sleepers.erase(chosen);
    thread.state = State::locking;
    thread.object = thread.mutex;
    if (!all) {
      return;
    }
  }
}

Scheduler::Thread& Scheduler::addThread() {
  const Inside inside;
  return threads_.emplace_back(static_cast<int>(threads_.size()), choices_.newPriority());
}

void Scheduler::started(Thread& thread, pthread_t handle) {
  const Inside inside;
  thread.handle = handle;
  trace_.add("t%d starts t%d", self->number, thread.number);
  switchFrom(*self);
}

void Scheduler::notStarted(Thread& thread) {
  thread.state = State::ended;
}

void Scheduler::enter(Thread& thread) {
  thread.awaitTurn();
  self = &thread;
  mine = this;
}

void Scheduler::leave() {
  const Inside inside;
  auto& thread = *self;
  trace_.add("t%d ends", thread.number);
  thread.state = State::ended;
  self = nullptr;
  mine = nullptr;
  sem_post(&chooseNext(thread).turn);
}

void Scheduler::join(pthread_t handle) {
  const Inside inside;
  // The newest one, since handles are used again.
  const auto found = std::find_if(threads_.rbegin(), threads_.rend(), [&](const Thread& thread) {
    return thread.number != 0 && pthread_equal(thread.handle, handle) != 0;
  });
  if (found == threads_.rend()) {
    return;
  }
  self->state = State::joining;
  self->joined = &*found;
  switchFrom(*self);
  trace_.add("t%d joins t%d", self->number, found->number);
}

void Scheduler::keepReleased(void* memory, std::size_t size) {
  const Inside inside;
  if (!released_.emplace(memory, size).second) {
    fail("memory is released twice");
  }
#if defined(__SANITIZE_ADDRESS__)
  __asan_poison_memory_region(memory, size);
#else
  std::memset(memory, 0xdd, size);
#endif
}

void require(bool condition, const char* text) {
  if (!condition) {
    Scheduler::ofThisThread()->fail(text);
  }
}

}  // namespace spf::test::schedules
