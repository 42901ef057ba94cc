#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "SendingFramework.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "matchers.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::spf::frameworkwatch::PublisherWatch;
using spf::test::Counter;
using spf::test::patience;
using watchtest::Names;
using watchtest::SendingFramework;

Names manyPublishers() {
  Names names;
  for (int i = 0; i < 20; ++i) {
    names.push_back("publisher" + std::to_string(i));
  }
  return names;
}

/// Runs an action on several threads at once.
template <class Action>
void runOnThreads(int count, const Action& action) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    threads.emplace_back(action);
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST(AWatchOfManyPublishers, CountsEventsFromSeveralThreadsForSeveralWaitingThreads) {
  const SendingFramework framework;
  const auto names = manyPublishers();
  PublisherWatch sut(framework.context(), names);
  std::thread senders([&] {
    runOnThreads(4, [&] {
      for (const auto& name : names) {
        framework.sendBound(name, 1);
        framework.sendPublished(name, 1);
      }
    });
  });
  runOnThreads(3, [&] { EXPECT_TRUE(sut.waitUntilAllPublished(patience)); });
  senders.join();
  senders = std::thread([&] {
    runOnThreads(4, [&] {
      for (const auto& name : names) {
        framework.sendUnpublished(name, 1);
      }
    });
  });
  runOnThreads(3, [&] { EXPECT_TRUE(sut.waitUntilAllUnpublished(patience)); });
  senders.join();
}

TEST(AWatchOfManyPublishers, IsDestroyedWhileOtherThreadsDeliverEvents) {
  const SendingFramework framework;
  const auto names = manyPublishers();
  std::atomic<bool> stop{false};
  Counter deliveries;
  std::thread senders([&] {
    runOnThreads(3, [&] {
      while (!stop) {
        for (const auto& name : names) {
          framework.sendPublished(name, 1);
          framework.sendUnpublished(name, 1);
        }
        deliveries.add();
      }
    });
  });
  for (int i = 0; i < 100; ++i) {
    // Destroyed after the watch, which it must not outlive in a call.
    const auto calls = std::make_unique<std::atomic<int>>(0);
    const PublisherWatch sut(framework.context(), names, 1, [&counter = *calls] { ++counter; });
    const int before = deliveries.count();
    EXPECT_TRUE(i % 10 != 0 || deliveries.waitFor(before + 1));
  }
  stop = true;
  senders.join();
  EXPECT_THAT(framework.listeners(), testing::IsEmpty());
}

TEST(AWatchOfManyPublishers, IsAskedWhileItsExpectationAndEventsChange) {
  const SendingFramework framework;
  const auto names = manyPublishers();
  PublisherWatch sut(framework.context(), names);
  std::thread sender([&] {
    for (std::uint32_t revision = 1; revision <= 50; ++revision) {
      sut.expectRevision(revision);
      for (const auto& name : names) {
        framework.sendPublished(name, revision);
      }
    }
  });
  std::thread display([&] {
    for (int i = 0; i < 200; ++i) {
      const auto state = sut.waitUntilAllPublished(std::chrono::milliseconds::zero());
      EXPECT_EQ(state.done, state.outstanding.empty() && state.silent.empty());
    }
  });
  sender.join();
  display.join();
  EXPECT_TRUE(sut.waitUntilAllPublished(std::chrono::milliseconds::zero()));
}

}  // namespace
