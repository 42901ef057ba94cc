#include "scenarios.hpp"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "Scheduler.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::test::schedules {

namespace {

using agent::spf::frameworksetup::ConfigTracker;
using agent::spf::frameworkwatch::PublisherWatch;
using std::chrono::milliseconds;

constexpr auto longest = milliseconds::max();
constexpr milliseconds shortTime{5};

// What Configuration Admin was asked for, and what publishers have begun to report. Only one thread runs at a time, so
// what is set without the mutex is seen by all.
class Calls {
 public:
  void note(const std::string& call) {
    if (call.rfind("Update ", 0) == 0) {
      count(updates_);
    } else if (call.rfind("Remove ", 0) == 0) {
      count(removals_);
    }
  }
  void waitForUpdate(int number) { waitFor(updates_, number); }
  void waitForRemoval() { waitFor(removals_, 1); }
  int removals() const { return removals_; }

 private:
  void count(int& calls) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++calls;
    }
    changed_.notify_all();
  }
  void waitFor(const int& calls, int number) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return calls >= number; });
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  int updates_ = 0;
  int removals_ = 0;
};

// Threads that are joined at the end of a scope.
class Threads {
 public:
  Threads() = default;
  ~Threads() { join(); }
  Threads(const Threads&) = delete;
  Threads& operator=(const Threads&) = delete;

  template <class Operation>
  void start(Operation operation) {
    threads_.emplace_back(std::move(operation));
  }
  void join() {
    for (auto& thread : threads_) {
      thread.join();
    }
    threads_.clear();
  }

 private:
  std::vector<std::thread> threads_;
};

// What the schedules of one process share: a framework with a Configuration Admin.
struct Stage {
  TestFramework framework;
  std::shared_ptr<ConfigurationAdminDouble> admin = ConfigurationAdminDouble::registerWith(framework);
};

// One schedule.
class Play {
 public:
  explicit Play(Stage& itsStage) : framework(itsStage.framework), stage_(itsStage) {
    stage_.admin->clearCalls();
    stage_.admin->onCall([this](const std::string& call) { calls.note(call); });
  }
  ~Play() {
    stage_.admin->onCall(nullptr);
    require(framework.listeners() == 0, "a listener is left");
  }
  Play(const Play&) = delete;
  Play& operator=(const Play&) = delete;

  void requireWithdrawnOnce() const { require(calls.removals() == 1, "a configuration is not withdrawn exactly once"); }

  TestFramework& framework;
  Calls calls;

 private:
  Stage& stage_;
};

Scenario scenario(const char* name, void (*run)(Play&)) {
  return {name, false, [run] {
            return [run, stage = std::make_shared<Stage>()] {
              Play play(*stage);
              run(play);
            };
          }};
}

SPFConfiguration built(SPFServicePublisherConfiguration record) {
  return SPFConfigurationBuilder("x").addServicePublisher(std::move(record)).build();
}

SPFConfiguration built(SPFServicePublisherConfiguration record, SPFServicePublisherConfiguration second) {
  return SPFConfigurationBuilder("x")
      .addServicePublisher(std::move(record))
      .addServicePublisher(std::move(second))
      .build();
}

// Three threads wait without a limit, while two report what they wait for.
void completionEndsWaits(Play& play) {
  bool bound = false;
  bool connected = false;
  bool published = false;
  auto sut = built(publisher("p", {text("c")}, {text("b")}));
  const auto waitForEndpoints = [&] {
    require(sut.waitForAllEndpoints(longest, "p"), "a wait without a limit ends without its condition");
    require(bound && connected, "endpoints are ready that were not reported");
    const auto outstanding = sut.listOutstandingEndpoints("p");
    require(outstanding.first.empty() && outstanding.second.empty(), "endpoints are outstanding after the wait");
  };
  Threads threads;
  threads.start([&] {
    bound = true;
    play.framework.sendBound("p", 1, text("b"));
    published = true;
    play.framework.sendPublished("p", 1);
  });
  threads.start([&] {
    connected = true;
    play.framework.sendConnected("p", 1, text("c"));
  });
  threads.start(waitForEndpoints);
  threads.start([&] {
    require(sut.waitForAllServices(longest, "p"), "a wait without a limit ends without its condition");
    require(published, "services are ready that were not reported");
  });
  waitForEndpoints();
  threads.join();
  require(play.framework.listeners() == 0, "a complete configuration still listens");
  sut.reset();
  play.requireWithdrawnOnce();
}

// The same with limits, which may end before.
void completionAgainstTimeOuts(Play& play) {
  bool bound = false;
  bool published = false;
  auto sut = built(publisher("p", {}, {text("b")}));
  Threads threads;
  threads.start([&] {
    bound = true;
    play.framework.sendBound("p", 1, text("b"));
    require(sut.waitForAllEndpoints(noWait, "p"), "endpoints that were reported are not ready");
    published = true;
    play.framework.sendPublished("p", 1);
    require(sut.waitForAllServices(noWait, "p"), "services that were reported are not ready");
  });
  threads.start([&] {
    const bool ready = sut.waitForAllServices(shortTime, "p");
    require(!ready || published, "services are ready that were not reported");
    require(!ready || sut.waitForAllServices(noWait, "p"), "services are ready no longer");
  });
  const bool ready = sut.waitForAllEndpoints(shortTime, "p");
  require(!ready || bound, "endpoints are ready that were not reported");
  require(!ready || sut.waitForAllEndpoints(noWait, "p"), "endpoints are ready no longer");
  threads.join();
  require(play.framework.listeners() == 0, "a complete configuration still listens");
}

// Two threads complete one publisher each: the second one, whichever it is, ends the registration.
void twoPublishersComplete(Play& play) {
  auto sut = built(publisher("p"), publisher("q"));
  Threads threads;
  for (const auto* const id : {"p", "q"}) {
    threads.start([&play, id] { play.framework.sendPublished(id, 1); });
  }
  require(sut.waitForAllServices(longest, "q") && sut.waitForAllServices(longest, "p"), "services are not ready");
  threads.join();
  require(play.framework.listeners() == 0, "a complete configuration still listens");
}

void errorAgainstCompletion(Play& play) {
  bool failed = false;
  bool published = false;
  auto sut = built(publisher("p"));
  const auto waitForServices = [&] {
    try {
      require(sut.waitForAllServices(longest, "p"), "a wait without a limit ends without its condition");
      require(published, "services are ready that were not reported");
      return true;
    } catch (const std::invalid_argument&) {
      require(failed, "an error is thrown that was not reported");
      return false;
    }
  };
  Threads threads;
  threads.start([&] {
    published = true;
    play.framework.sendPublished("p", 1);
  });
  threads.start([&] {
    failed = true;
    play.framework.sendError("p", 1, makeError<std::invalid_argument>("failed"));
  });
  threads.start([&] { static_cast<void>(waitForServices()); });
  const bool ready = waitForServices();
  threads.join();
  require(waitForServices() == ready, "what a wait has found does not stay");
  require(play.framework.listeners() == 0, "a complete configuration still listens");
}

// What a publisher does, and that it is heard.
void livesAndEnds(Play& play, const char* id, bool& unpublished) {
  play.calls.waitForUpdate(1);
  play.framework.sendPublished(id, 1);
  play.calls.waitForRemoval();
  require(play.framework.listeners() == 1, "nothing listens although a removal was prepared");
  unpublished = true;
  play.framework.sendUnpublished(id, 1);
}

// The caller withdraws as soon as the services are published, while that report is still being handled.
void removalAgainstCompletion(Play& play) {
  bool unpublished = false;
  Threads threads;
  threads.start([&] { livesAndEnds(play, "p", unpublished); });
  auto sut = built(publisher("p"));
  require(sut.waitForAllServices(longest, "p"), "a wait without a limit ends without its condition");
  require(sut.waitForAllServicesToBeUnpublished(longest, "p"), "a wait without a limit ends without its condition");
  require(unpublished, "services are gone that were not reported as such");
  require(play.framework.listeners() == 0, "the configuration still listens after its end was seen");
  sut.reset();
  threads.join();
  play.requireWithdrawnOnce();
}

// The same without waiting for services, and with a limit: the removal may come at any moment.
void removalAgainstReports(Play& play) {
  bool unpublished = false;
  Threads threads;
  threads.start([&] {
    play.calls.waitForUpdate(1);
    play.framework.sendBound("p", 1, text("b"));
    play.framework.sendPublished("p", 1);
    play.calls.waitForRemoval();
    unpublished = true;
    play.framework.sendUnpublished("p", 1);
  });
  auto sut = built(publisher("p", {}, {text("b")}));
  const bool gone = sut.waitForAllServicesToBeUnpublished(shortTime, "p");
  require(!gone || unpublished, "services are gone that were not reported as such");
  require(play.framework.listeners() == 0, "the configuration still listens after the wait");
  sut.reset();
  threads.join();
  play.requireWithdrawnOnce();
}

void destructionAgainstEvents(Play& play) {
  auto sut = built(publisher("p", {text("c")}, {text("b")}));
  Threads threads;
  threads.start([&] {
    play.framework.sendBound("p", 1, text("b"));
    play.framework.sendPublished("p", 1);
  });
  threads.start([&] {
    play.framework.sendConnected("p", 1, text("c"));
    play.framework.sendError("p", 1, makeError<std::invalid_argument>("failed"));
  });
  // A callback that has begun keeps the listener for as long as it runs, so it is gone only when the threads are.
  sut.reset();
  threads.join();
  play.requireWithdrawnOnce();
}

// The same, but for the connection, without which no callback runs that would keep the listener.
void destructionBeforeCompletion(Play& play) {
  auto sut = built(publisher("p", {text("c")}, {text("b")}));
  Threads threads;
  threads.start([&] { play.framework.sendBound("p", 1, text("b")); });
  threads.start([&] { play.framework.sendPublished("p", 1); });
  sut.reset();
  require(play.framework.listeners() == 0, "a configuration that is gone still listens");
  threads.join();
  play.requireWithdrawnOnce();
}

// The old incarnation's publisher goes on to report, with its count, while the configuration is modified.
void modificationAgainstOldEvents(Play& play) {
  bool bound = false;
  bool published = false;
  auto sut = built(publisher("p", {}, {text("b")}));
  Threads threads;
  threads.start([&] {
    play.framework.sendBound("p", 1, text("b"));
    play.framework.sendPublished("p", 1);
    play.framework.sendUnpublished("p", 1);
  });
  threads.start([&] {
    play.calls.waitForUpdate(2);
    bound = true;
    play.framework.sendBound("p", 2, text("b"));
    published = true;
    play.framework.sendPublished("p", 2);
  });
  sut = sut.modify().build();
  require(sut.waitForAllServices(longest, "p"), "a wait without a limit ends without its condition");
  require(published, "services of the new revision are ready that were not reported");
  require(sut.waitForAllEndpoints(noWait, "p") && bound, "endpoints were reported before the services");
  threads.join();
  require(play.calls.removals() == 0, "a modified configuration is withdrawn");
  sut.reset();
  play.requireWithdrawnOnce();
}

void watchFollowsPublishers(Play& play) {
  bool published[2] = {};
  bool unpublished[2] = {};
  const std::string ids[2] = {"p", "q"};
  PublisherWatch watch(play.framework.context(), {"p", "q"});
  const auto waitForAll = [&] {
    require(watch.waitUntilAllPublished(longest).done, "a wait without a limit ends without its condition");
    require(published[0] && published[1], "services are ready that were not reported");
  };
  Threads threads;
  for (const int i : {0, 1}) {
    threads.start([&, i] {
      play.calls.waitForUpdate(1);
      published[i] = true;
      play.framework.sendPublished(ids[i], 1);
      play.calls.waitForRemoval();
      unpublished[i] = true;
      play.framework.sendUnpublished(ids[i], 1);
    });
  }
  auto sut = built(publisher("p"), publisher("q"));
  Threads waiting;
  waiting.start(waitForAll);
  waitForAll();
  // The withdrawal would make the other thread wait for what has been.
  waiting.join();
  sut.reset();
  require(watch.waitUntilAllUnpublished(longest, longest).done, "a wait without a limit ends without its condition");
  require(unpublished[0] && unpublished[1], "publishers are gone that were not reported as such");
  threads.join();
}

void watchEndsDuringEvents(Play& play) {
  std::mutex mutex;
  bool ended = false;
  const auto onChange = [&] {
    require(!ended, "the callback begins after the watch has ended");
    const std::lock_guard<std::mutex> lock(mutex);
    require(!ended, "the callback runs after the watch has ended");
  };
  Threads threads;
  {
    const PublisherWatch watch(play.framework.context(), {"p"}, 1, onChange);
    threads.start([&] { play.framework.sendPublished("p", 1); });
    threads.start([&] { play.framework.sendError("p", 1, makeError<std::invalid_argument>("failed")); });
  }
  ended = true;
  threads.join();
}

// The first record makes the library's logger, once in a process.
std::function<void()> firstRecordFromTwoThreads() {
  return [log = std::make_shared<RecordedLog>(4)] {
    const auto report = [] {
      ConfigTracker tracker({}, {}, true);
      require(tracker.completeAllServicesPublished(), "a publisher with nothing outstanding is not complete");
    };
    Threads threads;
    threads.start(report);
    threads.start(report);
    threads.join();
    const std::vector<std::string> expected(2, "ConfigTracker completeAllServicesPublished");
    require(log->messages() == expected, "a record is missing");
    require(log->loggers() == 1, "there is more than one logger");
  };
}

}  // namespace

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> all = {
      scenario("CompletionEndsWaits", completionEndsWaits),
      scenario("CompletionAgainstTimeOuts", completionAgainstTimeOuts),
      scenario("TwoPublishersComplete", twoPublishersComplete),
      scenario("ErrorAgainstCompletion", errorAgainstCompletion),
      scenario("RemovalAgainstCompletion", removalAgainstCompletion),
      scenario("RemovalAgainstReports", removalAgainstReports),
      scenario("DestructionAgainstEvents", destructionAgainstEvents),
      scenario("DestructionBeforeCompletion", destructionBeforeCompletion),
      scenario("ModificationAgainstOldEvents", modificationAgainstOldEvents),
      scenario("WatchFollowsPublishers", watchFollowsPublishers),
      scenario("WatchEndsDuringEvents", watchEndsDuringEvents),
      {"FirstRecordFromTwoThreads", true, firstRecordFromTwoThreads},
  };
  return all;
}

}  // namespace spf::test::schedules
