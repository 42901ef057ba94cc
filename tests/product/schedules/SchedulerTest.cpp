#include <gtest/gtest.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <stdexcept>
#include <thread>

#include "Scheduler.hpp"
#include "scenarios.hpp"

namespace spf::test::schedules {

namespace {

using testing::HasSubstr;
using testing::Not;

Scenario play(std::function<void()> body) {
  return {"", true, [body = std::move(body)] { return body; }};
}

std::string failureOf(const Exploration& result) {
  return result.failure ? result.failure->trace : "no failure";
}

std::string traceOf(const Scenario& scenario, Seeds seeds) {
  const auto result = explore(scenario, seeds);
  EXPECT_EQ(failureOf(result), "no failure");
  return result.lastTrace;
}

TEST(ASeed, IsASchedule) {
  for (const auto& scenario : scenarios()) {
    for (const std::uint64_t seed : {3, 4, 5}) {
      const auto first = traceOf(scenario, {seed, 1});
      EXPECT_GT(first.size(), 100u) << scenario.name;
      EXPECT_EQ(traceOf(scenario, {seed, 1}), first) << scenario.name;
      EXPECT_EQ(traceOf(scenario, {seed - 3, 4}), first) << scenario.name << " after other schedules";
    }
  }
}

TEST(ASchedule, DiffersFromMostOthers) {
  const auto result = explore(scenarios().front(), {1, 100});
  EXPECT_EQ(result.schedules, 100u);
  EXPECT_GT(result.distinct, 50u);
}

TEST(ASchedule, HasNoAddresses) {
  EXPECT_THAT(traceOf(scenarios().front(), {7, 1}), Not(HasSubstr("0x")));
}

TEST(AScheduler, FindsADeadlockOfTwoMutexes) {
  const auto result = explore(play([] {
                                std::mutex first;
                                std::mutex second;
                                std::thread other([&] {
                                  const std::lock_guard<std::mutex> lock(second);
                                  const std::lock_guard<std::mutex> both(first);
                                });
                                {
                                  const std::lock_guard<std::mutex> lock(first);
                                  const std::lock_guard<std::mutex> both(second);
                                }
                                other.join();
                              }),
                              {1, 100});
  EXPECT_THAT(failureOf(result), HasSubstr("deadlock"));
  EXPECT_GT(result.schedules, 0u) << "not every schedule fails";
}

TEST(AScheduler, FindsADeadlockOfReadersAndWriters) {
  const auto result = explore(play([] {
                                std::shared_mutex mutex;
                                std::thread other([&] { const std::shared_lock<std::shared_mutex> lock(mutex); });
                                const std::shared_lock<std::shared_mutex> lock(mutex);
                                other.join();
                                const std::unique_lock<std::shared_mutex> never(mutex);
                              }),
                              {1, 1});
  EXPECT_THAT(failureOf(result), HasSubstr("deadlock"));
}

TEST(AScheduler, FindsALostNotification) {
  const auto result = explore(play([] {
                                std::mutex mutex;
                                std::condition_variable changed;
                                bool done = false;
                                std::thread other([&] {
                                  done = true;  // not locked
                                  changed.notify_all();
                                });
                                {
                                  std::unique_lock<std::mutex> lock(mutex);
                                  changed.wait(lock, [&] { return done; });
                                }
                                other.join();
                              }),
                              {1, 100});
  EXPECT_THAT(failureOf(result), HasSubstr("deadlock"));
  EXPECT_GT(result.schedules, 0u) << "not every schedule fails";
}

TEST(AScheduler, LetsTimedWaitsEndEitherWay) {
  for (const bool wanted : {true, false}) {
    const auto result = explore(play([wanted] {
                                  std::mutex mutex;
                                  std::condition_variable changed;
                                  bool done = false;
                                  std::thread other([&] {
                                    const std::lock_guard<std::mutex> lock(mutex);
                                    done = true;
                                    changed.notify_all();
                                  });
                                  bool inTime = false;
                                  {
                                    std::unique_lock<std::mutex> lock(mutex);
                                    inTime = changed.wait_for(lock, std::chrono::hours(1), [&] { return done; });
                                  }
                                  other.join();
                                  require(inTime != wanted, "as wanted");
                                }),
                                {1, 100});
    EXPECT_THAT(failureOf(result), HasSubstr("as wanted"));
  }
}

TEST(AScheduler, FindsAScheduleThatDoesNotEnd) {
  const auto result = explore(play([] {
                                std::mutex mutex;
                                for (;;) {
                                  const std::lock_guard<std::mutex> lock(mutex);
                                }
                              }),
                              {1, 1});
  EXPECT_THAT(failureOf(result), HasSubstr("does not end"));
}

TEST(AScheduler, FindsAMutexThatIsUsedAfterItsEnd) {
  const auto result = explore(play([] {
                                auto mutex = std::make_unique<std::mutex>();
                                auto& used = *mutex;
                                std::thread other([&] { const std::lock_guard<std::mutex> lock(used); });
                                mutex.reset();
                                other.join();
                              }),
                              {1, 100});
  EXPECT_THAT(failureOf(result), HasSubstr("after its memory was released"));
}

TEST(AScheduler, ReportsAnExceptionThatNobodyCatches) {
  const auto result = explore(play([] { std::thread([] { throw std::runtime_error("lost"); }).join(); }), {1, 1});
  EXPECT_THAT(failureOf(result), HasSubstr("exception: lost"));
}

TEST(AScheduler, ReportsACrash) {
  const auto result = explore(play([] { std::_Exit(42); }), {5, 10});
  ASSERT_TRUE(result.failure);
  EXPECT_THAT(result.failure->trace, HasSubstr("ended with exit code 42"));
}

TEST(AScheduler, LetsASecondThreadWaitForAStaticObject) {
  const auto result = explore(Scenario{"", true,
                                       [] {
                                         return [] {
                                           static std::mutex mutex;
                                           int made = 0;
                                           const auto use = [&made] {
                                             static const int value = [&made] {
                                               const std::lock_guard<std::mutex> lock(mutex);
                                               return ++made;
                                             }();
                                             require(value == 1 && made == 1, "made twice, or not yet");
                                           };
                                           std::thread other(use);
                                           use();
                                           other.join();
                                         };
                                       }},
                              {1, 50});
  EXPECT_EQ(failureOf(result), "no failure");
  EXPECT_EQ(result.schedules, 50u);
}

}  // namespace

}  // namespace spf::test::schedules
