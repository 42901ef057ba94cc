#include <future>
#include <thread>

#include <cppmicroservices/ServiceEvent.h>

#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

using Texts = std::vector<std::string>;

namespace {

using cppmicroservices::ServiceEvent;
using std::chrono::milliseconds;

constexpr int rounds = 40;

// Where the first thread that comes by is stopped until it is let go.
class StoppingPlace {
 public:
  void comeBy() {
    if (!reached_.isOpen()) {
      reached_.open();
      EXPECT_TRUE(letGo_.wait());
    }
  }
  [[nodiscard]] bool waitUntilReached() { return reached_.wait(); }
  void letGo() { letGo_.open(); }

 private:
  Gate reached_;
  Gate letGo_;
};

template <class Operation>
std::future<void> onAnotherThread(Operation operation) {
  return std::async(std::launch::async, operation);
}

// The same, returning when that thread is about to begin.
template <class Operation>
std::future<void> begunOnAnotherThread(Operation operation) {
  const auto begun = std::make_shared<Gate>();
  auto running = onAnotherThread([begun, operation] {
    begun->open();
    operation();
  });
  EXPECT_TRUE(begun->wait());
  return running;
}

class Interleaving : public testing::Test {
 protected:
  static SPFConfiguration built(const std::string& id, SPFServicePublisherConfiguration record) {
    return SPFConfigurationBuilder(id).addServicePublisher(std::move(record)).build();
  }
  // Stops a thread in the log's sink; a report is there with its publisher's mutex locked.
  void stopAtRecord(const std::string& message) {
    log_.onRecord([this, message](const LogRecord& record) {
      if (record.message == message) {
        place_.comeBy();
      }
    });
  }
  // Stops a thread in Configuration Admin.
  void stopAtCall(const std::string& call) {
    admin_->onCall([this, call](const std::string& called) {
      if (called.rfind(call, 0) == 0) {
        place_.comeBy();
      }
    });
  }
  // Stops a thread that takes a listener away, with the registration's mutex locked.
  cppmicroservices::ListenerToken stopAtUnregistration() {
    return framework_.context().AddServiceListener([this](const ServiceEvent& event) {
      if (event.GetType() == ServiceEvent::SERVICE_UNREGISTERING) {
        place_.comeBy();
      }
    });
  }
  // All that one can do with a configuration, from its publication to its end.
  void livesAWholeLife(const std::string& id, const std::string& publisherID) {
    auto sut = built(id, publisher(publisherID, {}, {text("b")}));
    framework_.sendBound(publisherID, 1, text("b"));
    framework_.sendPublished(publisherID, 1);
    EXPECT_TRUE(sut.waitForAllEndpoints(noWait, publisherID));
    EXPECT_TRUE(sut.waitForAllServices(noWait, publisherID));
    sut = sut.modify().build();
    framework_.sendUnpublished(publisherID, 2);
    EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, publisherID));
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
  RecordedLog log_{4 | 512};
  StoppingPlace place_;
};

// Two reports about one publisher, of which the first is stopped in the middle.

TEST_F(Interleaving, OfTheLastBindAndTheLastConnectCompletesThePublisher) {
  for (const bool bindFirst : {true, false}) {
    std::mutex mutex;
    Texts order;
    const auto note = [&](const std::string& what) {
      const std::lock_guard<std::mutex> lock(mutex);
      order.push_back(what);
    };
    const Any bind(ObservedEndpoint{"b", [&] { note("compare b"); }});
    const Any connect(ObservedEndpoint{"c", [&] { note("compare c"); }});
    auto sut = built("x", publisher("p", {connect}, {bind}));
    framework_.sendPublished("p", 1);

    StoppingPlace place;
    log_.onRecord([&](const LogRecord& record) {
      note("log " + record.message.substr(record.message.size() - 1));
      place.comeBy();
      note("logged");
    });
    const auto sendBind = [&] { framework_.sendBound("p", 1, bind); };
    const auto sendConnect = [&] { framework_.sendConnected("p", 1, connect); };
    auto first = bindFirst ? onAnotherThread(sendBind) : onAnotherThread(sendConnect);
    ASSERT_TRUE(place.waitUntilReached());
    auto second = bindFirst ? begunOnAnotherThread(sendConnect) : begunOnAnotherThread(sendBind);
    place.letGo();
    first.get();
    second.get();

    EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p"));
    EXPECT_EQ(framework_.listeners(), 0u);
    const Texts bindThenConnect = {"compare b", "log b", "logged", "compare c", "log c", "logged"};
    const Texts connectThenBind = {"compare c", "log c", "logged", "compare b", "log b", "logged"};
    EXPECT_EQ(order, bindFirst ? bindThenConnect : connectThenBind);
    log_.onRecord(nullptr);
  }
}

TEST_F(Interleaving, OfTheLastReportAndAnErrorDropsTheErrorThatComesSecond) {
  auto sut = built("x", publisher("p"));
  stopAtRecord("ConfigTracker completeAllServicesPublished");
  auto report = onAnotherThread([this] { framework_.sendPublished("p", 1); });
  ASSERT_TRUE(place_.waitUntilReached());
  auto error = begunOnAnotherThread([this] { framework_.sendError("p", 1, makeError<std::runtime_error>("late")); });
  place_.letGo();
  report.get();
  error.get();
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
  EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p"));
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(Interleaving, OfAnEarlierReportAndAnErrorKeepsBoth) {
  auto sut = built("x", publisher("p", {}, {text("a"), text("b")}));
  stopAtRecord("ConfigTracker completeEndpointBind a");
  auto report = onAnotherThread([this] { framework_.sendBound("p", 1, text("a")); });
  ASSERT_TRUE(place_.waitUntilReached());
  auto error = begunOnAnotherThread([this] { framework_.sendError("p", 1, makeError<std::runtime_error>("broken")); });
  place_.letGo();
  report.get();
  error.get();
  EXPECT_EQ(messageOf([&] { static_cast<void>(sut.waitForAllEndpoints(patience, "p")); }), "broken");
  EXPECT_EQ(texts(sut.listOutstandingEndpoints("p").second), Texts{"b"});
  EXPECT_EQ(framework_.listeners(), 0u);
}

// The report has taken the endpoint off by then, and goes on before anybody else can look.
TEST_F(Interleaving, OfAReportAndThoseWhoLookShowsWhatTheReportBrings) {
  auto sut = built("x", publisher("p", {}, {text("b")}));
  stopAtRecord("ConfigTracker completeEndpointBind b");
  auto report = onAnotherThread([this] { framework_.sendBound("p", 1, text("b")); });
  ASSERT_TRUE(place_.waitUntilReached());
  auto waiting = begunOnAnotherThread([&] { EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p")); });
  auto listing = begunOnAnotherThread([&] { EXPECT_TRUE(sut.listOutstandingEndpoints("p").second.empty()); });
  place_.letGo();
  report.get();
  waiting.get();
  listing.get();
}

// Configurations that have nothing to do with each other: one is stopped somewhere, the other lives on.

TEST_F(Interleaving, OfTwoConfigurationsLetsOneLiveWhileTheOthersReportIsStopped) {
  auto stopped = built("stopped", publisher("p", {}, {text("x")}));
  stopAtRecord("ConfigTracker completeEndpointBind x");
  auto report = onAnotherThread([this] { framework_.sendBound("p", 1, text("x")); });
  ASSERT_TRUE(place_.waitUntilReached());
  livesAWholeLife("living", "q");
  place_.letGo();
  report.get();
  EXPECT_TRUE(stopped.waitForAllEndpoints(noWait, "p"));
}

TEST_F(Interleaving, OfTwoConfigurationsLetsOneLiveWhileTheOtherUnregisters) {
  auto stopped = built("stopped", publisher("p"));
  auto token = stopAtUnregistration();
  auto report = onAnotherThread([this] { framework_.sendPublished("p", 1); });
  ASSERT_TRUE(place_.waitUntilReached());
  livesAWholeLife("living", "q");
  place_.letGo();
  report.get();
  EXPECT_EQ(framework_.listeners(), 0u);
  framework_.context().RemoveListener(std::move(token));
}

TEST_F(Interleaving, OfTwoConfigurationsLetsOneLiveWhileTheOtherIsBeingPublished) {
  stopAtCall("Update zk.spf.framework~stopped");
  SPFConfiguration stopped;
  auto publication = onAnotherThread([&] { stopped = built("stopped", publisher("p")); });
  ASSERT_TRUE(place_.waitUntilReached());
  livesAWholeLife("living", "q");
  place_.letGo();
  publication.get();
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(stopped.waitForAllServices(noWait, "p"));
}

// Reports against publication, destruction and removal.

TEST_F(Interleaving, OfACompletionAndAnUnwrittenPublicationEndsTheTracking) {
  stopAtCall("Update");
  SPFConfiguration sut;
  auto publication = onAnotherThread([&] { sut = built("x", publisher("p")); });
  ASSERT_TRUE(place_.waitUntilReached());
  framework_.sendPublished("p", 1);
  EXPECT_EQ(framework_.listeners(), 0u);
  place_.letGo();
  publication.get();
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
}

TEST_F(Interleaving, OfACompletionAndADestructionThatIsAboutToRemoveIsHarmless) {
  auto sut = built("x", publisher("p"));
  stopAtRecord("About to remove spf configuration for x");
  auto destruction = onAnotherThread([&] { sut.reset(); });
  ASSERT_TRUE(place_.waitUntilReached());
  framework_.sendPublished("p", 1);
  EXPECT_EQ(framework_.listeners(), 0u);
  framework_.sendUnpublished("p", 1);
  place_.letGo();
  destruction.get();
  EXPECT_TRUE(sut.empty());
  EXPECT_FALSE(admin_->properties("zk.spf.framework~x"));
}

// The callback holds the registration's mutex; the removal has to register the listener once more.
TEST_F(Interleaving, OfACompletionAndARemovalRegistersBeforeItRemoves) {
  auto sut = built("x", publisher("p"));
  auto token = stopAtUnregistration();
  auto report = onAnotherThread([this] { framework_.sendPublished("p", 1); });
  ASSERT_TRUE(place_.waitUntilReached());
  std::size_t listenersAtRemove = 0;
  Gate removed;
  admin_->onCall([&](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      listenersAtRemove = framework_.listeners();
      removed.open();
    }
  });
  auto removal = begunOnAnotherThread([&] { EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(patience, "p")); });
  // It never gets further while the listener is being taken away, however long one looks.
  EXPECT_EQ(removal.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
  EXPECT_FALSE(removed.isOpen());
  place_.letGo();
  report.get();
  ASSERT_TRUE(removed.wait());
  framework_.sendUnpublished("p", 1);
  removal.get();
  EXPECT_EQ(listenersAtRemove, 1u);
  EXPECT_EQ(framework_.listeners(), 0u);
  framework_.context().RemoveListener(std::move(token));
}

// What has no place to be stopped at, often and for the sanitizers' eyes.

TEST_F(Interleaving, OfReportsWaitersAndListersAtRandomCompletesThePublisher) {
  for (int round = 0; round < rounds; ++round) {
    auto sut = built("x", publisher("p", {text("c")}, {text("b")}));
    std::vector<std::future<void>> threads;
    threads.push_back(onAnotherThread([&] { framework_.sendBound("p", 1, text("b")); }));
    threads.push_back(onAnotherThread([&] { framework_.sendConnected("p", 1, text("c")); }));
    threads.push_back(onAnotherThread([&] { framework_.sendPublished("p", 1); }));
    threads.push_back(onAnotherThread([&] { EXPECT_TRUE(sut.waitForAllEndpoints(patience, "p")); }));
    EXPECT_LE(sut.listOutstandingEndpoints("p").first.size(), 1u);
    EXPECT_TRUE(sut.waitForAllServices(patience, "p"));
    for (auto& thread : threads) {
      thread.get();
    }
    EXPECT_EQ(framework_.listeners(), 0u);
  }
}

TEST_F(Interleaving, OfACompletionAndADestructionAtRandomLeavesNoListener) {
  for (int round = 0; round < rounds; ++round) {
    auto sut = built("x", publisher("p"));
    auto report = begunOnAnotherThread([&] { framework_.sendPublished("p", 1); });
    sut.reset();
    EXPECT_NO_THROW(report.get());
    EXPECT_EQ(framework_.listeners(), 0u);
  }
}

// The caller removes as soon as the services are published, when the completion's callback may still be
// on its way.
TEST_F(Interleaving, OfACompletionAndARemovalAtRandomNeverMissesTheUnpublishing) {
  for (int round = 0; round < rounds; ++round) {
    auto sut = built("x", publisher("p"));
    Gate removed;
    admin_->onCall([&](const std::string& call) {
      if (call.rfind("Remove", 0) == 0) {
        removed.open();
      }
    });
    auto sender = onAnotherThread([&] {
      framework_.sendPublished("p", 1);
      EXPECT_TRUE(removed.wait());
      framework_.sendUnpublished("p", 1);
    });
    EXPECT_TRUE(sut.waitForAllServices(patience, "p"));
    EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(patience, "p"));
    sender.get();
  }
}

TEST_F(Interleaving, OfErrorsAndCompletionsAtRandomAnswersEveryWaitAlike) {
  for (int round = 0; round < rounds; ++round) {
    auto sut = built("x", publisher("p"));
    auto report = begunOnAnotherThread([&] { framework_.sendPublished("p", 1); });
    auto error = begunOnAnotherThread([&] { framework_.sendError("p", 1, makeError<std::runtime_error>("broken")); });
    const auto first = messageOf([&] { EXPECT_TRUE(sut.waitForAllServices(patience, "p")); });
    report.get();
    error.get();
    EXPECT_EQ(messageOf([&] { EXPECT_TRUE(sut.waitForAllServices(noWait, "p")); }), first);
    EXPECT_EQ(messageOf([&] { EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p")); }), first);
    EXPECT_EQ(framework_.listeners(), 0u);
  }
}

TEST_F(Interleaving, OfManyConfigurationsAtRandomLetsEachLiveItsLife) {
  std::vector<std::future<void>> threads;
  for (int i = 0; i < 4; ++i) {
    threads.push_back(onAnotherThread([this, i] {
      for (int round = 0; round < rounds / 4; ++round) {
        livesAWholeLife("c" + std::to_string(i), "p" + std::to_string(i));
      }
    }));
  }
  for (auto& thread : threads) {
    thread.get();
  }
  EXPECT_EQ(framework_.listeners(), 0u);
}

}  // namespace

}  // namespace spf::test
