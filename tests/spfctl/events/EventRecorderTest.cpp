#include "events/EventRecorder.hpp"

#include <gmock/gmock.h>

#include <atomic>
#include <map>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include "SendingFramework.hpp"
#include "failingAllocations.hpp"
#include "spf/test/Gate.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using spfctl::EventRecorder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using watchtest::SendingFramework;

static_assert(!std::is_copy_constructible_v<EventRecorder> && !std::is_move_constructible_v<EventRecorder>);

namespace {

constexpr std::size_t all = 1000000;

class ARecorder : public testing::Test {
 protected:
  void publish(std::uint32_t revision) { sut_.notePublication("c", revision, "f.json", "{}"); }

  const SendingFramework framework_;
  EventRecorder sut_{framework_.context(), 4};
};

std::string messageOf(cppmicroservices::BundleContext context) {
  try {
    const EventRecorder sut(std::move(context));
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

}  // namespace

TEST_F(ARecorder, HasNoLinesAtFirst) {
  EXPECT_EQ(sut_.begin(), 0u);
  EXPECT_EQ(sut_.end(), 0u);
  const auto batch = sut_.read(0, all);
  EXPECT_THAT(batch.lines, IsEmpty());
  EXPECT_EQ(batch.next, 0u);
  EXPECT_EQ(batch.dropped, 0u);
  EXPECT_EQ(sut_.latestConfiguration(), "");
}

TEST_F(ARecorder, KeepsEventsOfAllKindsAndPublicationsInTheOrderOfTheirArrival) {
  publish(1);
  framework_.sendBound("p", 1);
  framework_.sendError("p", 1, "broken");
  framework_.send(FrameworkEvent{9});
  const auto batch = sut_.read(0, all);
  EXPECT_THAT(batch.lines, ElementsAre(HasSubstr(R"("kind":"configuration")"), HasSubstr(R"("endpoint":"inproc://p")"),
                                       HasSubstr(R"("error":"broken")"), HasSubstr(R"("number":9)")));
  EXPECT_EQ(batch.next, 4u);
  EXPECT_EQ(batch.dropped, 0u);
}

TEST_F(ARecorder, IsReadInBatchesFromAnyPosition) {
  for (std::uint32_t revision = 1; revision <= 3; ++revision) {
    framework_.sendPublished("p", revision);
  }
  const auto first = sut_.read(0, 2);
  EXPECT_THAT(first.lines, ElementsAre(HasSubstr(R"("revision":1)"), HasSubstr(R"("revision":2)")));
  EXPECT_EQ(first.next, 2u);
  const auto second = sut_.read(first.next, 2);
  EXPECT_THAT(second.lines, ElementsAre(HasSubstr(R"("revision":3)")));
  EXPECT_EQ(second.next, 3u);
  EXPECT_THAT(sut_.read(second.next, 2).lines, IsEmpty());
  EXPECT_THAT(sut_.read(0, 0).lines, IsEmpty());
  EXPECT_EQ(sut_.read(0, 0).next, 0u);
  EXPECT_EQ(sut_.read(99, 2).next, 3u);
}

TEST_F(ARecorder, DropsTheOldestLinesWhenItIsFullAndCountsThoseThatWereNotRead) {
  for (std::uint32_t revision = 0; revision < 7; ++revision) {
    framework_.sendPublished("p", revision);
  }
  EXPECT_EQ(sut_.begin(), 3u);
  EXPECT_EQ(sut_.end(), 7u);
  const auto batch = sut_.read(1, 2);
  EXPECT_EQ(batch.dropped, 2u);
  EXPECT_THAT(batch.lines, ElementsAre(HasSubstr(R"("revision":3)"), HasSubstr(R"("revision":4)")));
  EXPECT_EQ(batch.next, 5u);
  EXPECT_EQ(sut_.read(3, 2).dropped, 0u);
}

TEST_F(ARecorder, KeepsTheLatestConfigurationWhenItsLineIsGone) {
  publish(1);
  publish(2);
  const auto line = sut_.read(1, 1).lines.at(0);
  for (int i = 0; i < 4; ++i) {
    framework_.sendPublished("p", 2);
  }
  EXPECT_THAT(line, HasSubstr(R"("revision":2)"));
  EXPECT_EQ(sut_.latestConfiguration(), line);
  EXPECT_EQ(sut_.read(0, 1).configuration, line);
  EXPECT_EQ(sut_.read(2, 1).configuration, "");
}

TEST(ARecorderOfNoCapacity, KeepsOneLine) {
  const SendingFramework framework;
  const EventRecorder sut(framework.context(), 0);
  framework.sendPublished("p", 1);
  framework.sendPublished("p", 2);
  EXPECT_EQ(sut.read(0, all).dropped, 1u);
  EXPECT_THAT(sut.read(0, all).lines, ElementsAre(HasSubstr(R"("revision":2)")));
}

TEST(ARecordersListener, IsRegisteredAsLongAsTheRecorderLives) {
  const SendingFramework framework;
  {
    const EventRecorder sut(framework.context());
    EXPECT_THAT(framework.listeners(), SizeIs(1));
  }
  EXPECT_THAT(framework.listeners(), IsEmpty());
}

TEST(ARecordersListener, MayReceiveEventsAfterTheRecordersDestruction) {
  const SendingFramework framework;
  auto sut = std::make_unique<EventRecorder>(framework.context());
  int calls = 0;
  sut->addListener([&] { ++calls; });
  const auto listener = framework.listeners().front();
  sut.reset();
  listener->handleEvent(std::make_shared<const FrameworkEvent>(FrameworkEvent{9}));
  EXPECT_EQ(calls, 0);
}

TEST(ARecorderOfAFrameworkThatHasStopped, ThrowsOrCanBeReadAndDestroyed) {
  SendingFramework framework;
  auto sut = std::make_unique<EventRecorder>(framework.context());
  framework.sendPublished("p", 1);
  const auto context = framework.context();
  framework.stop();
  EXPECT_THAT(sut->read(0, all).lines, SizeIs(1));
  sut.reset();
  EXPECT_THAT(messageOf(context), HasSubstr("valid"));
  EXPECT_EQ(messageOf({}), "Cannot record the framework's events: the bundle context is not valid");
}

TEST_F(ARecorder, CallsBackAfterEachLineOnTheThreadThatAddsIt) {
  std::vector<std::thread::id> threads;
  std::vector<EventRecorder::Position> ends;
  const auto listener = sut_.addListener([&] {
    threads.push_back(std::this_thread::get_id());
    ends.push_back(sut_.end());
  });
  framework_.sendPublished("p", 1);
  publish(1);
  sut_.removeListener(listener);
  framework_.sendPublished("p", 1);
  EXPECT_EQ(threads, std::vector<std::thread::id>(2, std::this_thread::get_id()));
  EXPECT_THAT(ends, ElementsAre(1, 2));
}

TEST_F(ARecorder, CallsAllFunctionsAlsoIfOneThrows) {
  int calls = 0;
  sut_.addListener([] { throw std::runtime_error("thrown"); });
  const auto second = sut_.addListener([&] { ++calls; });
  framework_.sendPublished("p", 1);
  sut_.removeListener(second + 1);
  framework_.sendPublished("p", 1);
  EXPECT_EQ(calls, 2);
}

TEST_F(ARecorder, LetsAFunctionRemoveItself) {
  int calls = 0;
  EventRecorder::ListenerID listener = 0;
  listener = sut_.addListener([&] {
    ++calls;
    sut_.removeListener(listener);
  });
  framework_.sendPublished("p", 1);
  framework_.sendPublished("p", 1);
  EXPECT_EQ(calls, 1);
}

TEST_F(ARecorder, LetsAFunctionBeRemovedInACallThatItCaused) {
  int calls = 0;
  EventRecorder::ListenerID outer = 0;
  outer = sut_.addListener([&] {
    if (++calls == 1) {
      publish(1);
    }
  });
  sut_.addListener([&] { sut_.removeListener(outer); });
  framework_.sendPublished("p", 1);
  framework_.sendPublished("p", 1);
  EXPECT_EQ(calls, 2);  // for the event, and inside of that for the publication
}

TEST_F(ARecorder, RemovesAFunctionAfterItsCallsOnOtherThreadsHaveReturned) {
  Gate inside;
  Gate leave;
  Counter calls;
  std::atomic<bool> isRemoved{false};
  std::atomic<bool> wasRemovedInside{false};
  const auto listener = sut_.addListener([&] {
    calls.add();
    if (!inside.isOpen()) {
      inside.open();
      EXPECT_TRUE(leave.wait());
      wasRemovedInside = isRemoved.load();
    }
  });
  std::thread sender([&] { framework_.sendPublished("p", 1); });
  EXPECT_TRUE(inside.wait());
  std::thread remover([&] {
    sut_.removeListener(listener);
    isRemoved = true;
  });
  for (int before = 0; before != calls.count();) {  // until the removal has begun
    before = calls.count();
    framework_.sendPublished("p", 1);
  }
  leave.open();
  remover.join();
  sender.join();
  EXPECT_FALSE(wasRemovedInside);
}

TEST(ARecorderWithoutMemory, CountsAnEventAsDroppedAndThrowsNothing) {
  const SendingFramework framework;
  const auto event = std::make_shared<const EndpointEvent>(
      EndpointEvent{{FrameworkEvent::endpoint},
                    EndpointEvent::bound,
                    std::vector<cppmicroservices::Any>{std::string("an endpoint that is too long for a short string")},
                    "a publisher that is too long for a short string",
                    1});
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    EventRecorder sut(framework.context());
    const auto listener = framework.listeners().front();
    int calls = 0;
    sut.addListener([&] { ++calls; });
    EXPECT_FALSE(failing.run([&] { listener->handleEvent(event); }));
    listener->handleEvent(event);
    const auto batch = sut.read(0, all);
    EXPECT_EQ(batch.dropped, failing.failed() ? 1u : 0u);
    EXPECT_THAT(batch.lines, SizeIs(failing.failed() ? 1 : 2));
    EXPECT_EQ(batch.next, 2u);
    EXPECT_EQ(calls, 2);
  });
}

TEST_F(ARecorder, EndsABatchBeforeAnEventThatWasDropped) {
  const auto listener = framework_.listeners().front();
  const auto event = std::make_shared<const FrameworkEvent>(FrameworkEvent{9});
  listener->handleEvent(event);
  FailingAllocations::inEveryRound(
      [&](FailingAllocations& failing) { EXPECT_FALSE(failing.run([&] { listener->handleEvent(event); })); });
  const auto first = sut_.read(0, all);
  EXPECT_THAT(first.lines, SizeIs(1));
  EXPECT_EQ(first.next, 1u);
  const auto second = sut_.read(first.next, all);
  EXPECT_EQ(second.dropped, 1u);
  EXPECT_THAT(second.lines, SizeIs(1));
}

TEST_F(ARecorder, AddsNoPublicationThatThereIsNoMemoryFor) {
  publish(1);
  const auto before = sut_.latestConfiguration();
  FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
    const auto end = sut_.end();
    const bool hasThrown = failing.run([&] { publish(2); });
    EXPECT_EQ(hasThrown, failing.failed());
    EXPECT_EQ(sut_.end(), hasThrown ? end : end + 1);
    EXPECT_EQ(sut_.latestConfiguration() == before, hasThrown);
  });
}

// Sends numbered events of one publisher, and publishes as often.
void send(EventRecorder& recorder, agent::spf::frameworklistener::FrameworkListener& listener, int sender, int count) {
  for (std::uint32_t number = 0; number < static_cast<std::uint32_t>(count); ++number) {
    listener.handleEvent(std::make_shared<const ErrorEvent>(
        ErrorEvent{{FrameworkEvent::error}, nullptr, "p" + std::to_string(sender), number}));
    recorder.notePublication("p" + std::to_string(sender), number, "", "");
  }
}

// Checks that the revisions of each publisher ascend.
class Order {
 public:
  void check(const std::string& line) {
    const std::string key = R"(","revision":)";
    const auto place = line.find(key);
    ASSERT_NE(place, std::string::npos);
    const auto revision = std::stoi(line.substr(place + key.size()));
    auto& last = last_[line.substr(0, 20) + line.substr(place - 2, 2)];  // of each kind and publisher
    EXPECT_LE(last, revision);
    last = revision + 1;
  }

 private:
  std::map<std::string, int> last_;
};

// Reads a number of lines, those that it is too slow for included.
void readAll(EventRecorder& recorder, EventRecorder::Position total) {
  Counter news;
  const auto listener = recorder.addListener([&] { news.add(); });
  Order order;
  EventRecorder::Position next = 0;
  std::uint64_t seen = 0;
  while (next < total) {
    const int known = news.count();
    const auto batch = recorder.read(next, 16);
    for (const auto& line : batch.lines) {
      order.check(line);
    }
    if (batch.next == next) {
      ASSERT_TRUE(news.waitFor(known + 1));
    }
    seen += batch.dropped + batch.lines.size();
    next = batch.next;
  }
  recorder.removeListener(listener);
  EXPECT_EQ(seen, total);
}

TEST(ARecorderOfManyThreads, GivesEachReaderEveryLineOrItsCountInOrder) {
  constexpr int senders = 4;
  constexpr int eventsOfEach = 300;
  const SendingFramework framework;
  EventRecorder sut(framework.context(), 64);
  const auto listener = framework.listeners().front();
  std::vector<std::thread> threads;
  for (int reader = 0; reader < 2; ++reader) {
    threads.emplace_back([&] { readAll(sut, 2 * senders * eventsOfEach); });
  }
  for (int sender = 0; sender < senders; ++sender) {
    threads.emplace_back([&, sender] { send(sut, *listener, sender, eventsOfEach); });
  }
  for (int i = 0; i < 200; ++i) {
    sut.removeListener(sut.addListener([] {}));
    static_cast<void>(sut.latestConfiguration());
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(sut.end() - sut.begin(), 64u);
  EXPECT_THAT(sut.latestConfiguration(), HasSubstr(R"("revision":299)"));
}

TEST(ARecorderOfManyThreads, CanBeDestroyedWhileEventsArrive) {
  const SendingFramework framework;
  auto sut = std::make_unique<EventRecorder>(framework.context(), 8);
  const auto listener = framework.listeners().front();
  Counter calls;
  sut->addListener([&] { calls.add(); });
  std::atomic<bool> isDestroyed{false};
  std::thread sender([&] {
    while (!isDestroyed) {
      listener->handleEvent(std::make_shared<const FrameworkEvent>(FrameworkEvent{9}));
    }
  });
  EXPECT_TRUE(calls.waitFor(3));
  sut.reset();
  const int last = calls.count();
  isDestroyed = true;
  sender.join();
  EXPECT_EQ(calls.count(), last);
}

}  // namespace spf::test
