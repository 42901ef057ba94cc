#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "support/TestListener.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworkinterfaces::HealthCheck;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ServiceEvent;
using cppmicroservices::service::cm::ManagedServiceFactory;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using spf::test::Counter;
using spf::test::Gate;
using testing::IsEmpty;
using testing::Not;

/// The health checks of a running framework.
class HealthCheckFixture : public frameworktest::TransportFixture {
 protected:
  /// Finds the check of a component.
  /// \return null if it is not registered
  std::shared_ptr<HealthCheck> checkOf(const std::string& component) {
    auto context = framework.context();
    const auto found = context.GetServiceReferences<HealthCheck>("(component=" + component + ")");
    return found.empty() ? nullptr : context.GetService(found.front());
  }
};

struct Component {
  const char* name;
  const char* bundle;
};

void PrintTo(const Component& component, std::ostream* out) {
  *out << component.name;
}

class AHealthCheck : public HealthCheckFixture, public testing::WithParamInterface<Component> {
 protected:
  std::shared_ptr<HealthCheck> ofComponent() { return checkOf(GetParam().name); }
  cppmicroservices::Bundle bundle() { return framework.bundle(GetParam().bundle); }
};

INSTANTIATE_TEST_SUITE_P(Of, AHealthCheck,
                         testing::Values(Component{"controller", "spf_controller"},
                                         Component{"publishers", "spf_publishers"},
                                         Component{"transport", "spf_zeromq_transport"}),
                         [](const auto& component) { return std::string(component.param.name); });

TEST_P(AHealthCheck, IsRegisteredOnce) {
  EXPECT_EQ(
      framework.context().GetServiceReferences<HealthCheck>("(component=" + std::string(GetParam().name) + ")").size(),
      1u);
}

TEST_P(AHealthCheck, CallsDoneOnAThreadOfItsOwn) {
  std::thread::id caller;
  Gate isDone;
  ofComponent()->check([&] {
    caller = std::this_thread::get_id();
    isDone.open();
  });
  ASSERT_TRUE(isDone.wait());
  EXPECT_NE(caller, std::this_thread::get_id());
}

TEST_P(AHealthCheck, CallsDoneOnce) {
  const auto health = ofComponent();
  int calls = 0;
  health->check([&] { ++calls; });
  Gate isNextDone;
  health->check([&] { isNextDone.open(); });
  ASSERT_TRUE(isNextDone.wait());
  EXPECT_EQ(calls, 1);
}

TEST_P(AHealthCheck, AnswersManyThreadsAtOnce) {
  const auto health = ofComponent();
  Counter done;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 100; ++i) {
        health->check([&] { done.add(); });
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_TRUE(done.waitFor(800));
}

TEST_P(AHealthCheck, MayBeRequestedInsideDone) {
  const auto health = ofComponent();
  Gate isDone;
  health->check([&] { health->check([&] { isDone.open(); }); });
  EXPECT_TRUE(isDone.wait());
}

TEST_P(AHealthCheck, MayBeRequestedWhileDoneIsDestroyed) {
  const auto health = ofComponent();
  Gate isDone;
  health->check([last = std::shared_ptr<void>(nullptr, [&](void*) { health->check([&] { isDone.open(); }); })] {});
  EXPECT_TRUE(isDone.wait());
}

TEST_P(AHealthCheck, ForgetsDoneAfterTheCall) {
  const auto health = ofComponent();
  auto token = std::make_shared<int>();
  const std::weak_ptr<int> watched = token;
  health->check([token = std::move(token)] {});
  Gate isNextDone;
  health->check([&] { isNextDone.open(); });
  ASSERT_TRUE(isNextDone.wait());
  EXPECT_TRUE(watched.expired());
}

TEST_P(AHealthCheck, DropsDoneOnceItsBundleHasStopped) {
  const auto health = ofComponent();
  bundle().Stop();
  auto token = std::make_shared<int>();
  const std::weak_ptr<int> watched = token;
  health->check([token = std::move(token)] { ADD_FAILURE() << "done was called"; });
  EXPECT_TRUE(watched.expired());
}

TEST_P(AHealthCheck, IsAbsentWhileItsBundleIsStopped) {
  bundle().Stop();
  EXPECT_EQ(ofComponent(), nullptr);
  bundle().Start();
  ASSERT_NE(ofComponent(), nullptr);
  Gate isDone;
  ofComponent()->check([&] { isDone.open(); });
  EXPECT_TRUE(isDone.wait());
}

TEST_P(AHealthCheck, IsTheLastServiceToBeRegisteredAndTheFirstToBeUnregistered) {
  std::vector<std::string> registered;
  std::vector<std::string> unregistered;
  auto context = framework.context();
  auto token = context.AddServiceListener([&](const ServiceEvent& event) {
    const auto classes = event.GetServiceReference().GetProperty(cppmicroservices::Constants::OBJECTCLASS);
    const auto name = cppmicroservices::any_cast<std::vector<std::string>>(classes).front();
    (event.GetType() == ServiceEvent::SERVICE_REGISTERED ? registered : unregistered).push_back(name);
  });
  bundle().Stop();
  bundle().Start();
  context.RemoveListener(std::move(token));
  ASSERT_THAT(registered, Not(IsEmpty()));
  ASSERT_THAT(unregistered, Not(IsEmpty()));
  EXPECT_GT(registered.size(), 1u);
  EXPECT_EQ(registered.back(), us_service_interface_iid<HealthCheck>());
  EXPECT_EQ(unregistered.front(), us_service_interface_iid<HealthCheck>());
}

/// Records which threads a blocked call and the check after it run on, and that the check waits for the call.
class ABlockedThread : public HealthCheckFixture {
 protected:
  /// Called inside the call that blocks.
  void block() {
    blocked = std::this_thread::get_id();
    isBlocked.open();
    EXPECT_TRUE(mayReturn.wait());
    hasReturned = true;
  }

  /// Requests a check while the thread is blocked, then releases the thread.
  void expectThatTheCheckWaits(const std::string& component) {
    ASSERT_TRUE(isBlocked.wait());
    bool wasLate = false;
    std::thread::id caller;
    Gate isDone;
    checkOf(component)->check([&] {
      wasLate = hasReturned;
      caller = std::this_thread::get_id();
      isDone.open();
    });
    EXPECT_FALSE(isDone.isOpen());
    mayReturn.open();
    ASSERT_TRUE(isDone.wait());
    EXPECT_TRUE(wasLate);
    EXPECT_EQ(caller, blocked);
  }

  Gate isBlocked;
  Gate mayReturn;

  // Used by the blocked thread only, after the test's thread:
  std::thread::id blocked;
  bool hasReturned = false;
};

TEST_F(ABlockedThread, OfTheControllerIsThatOfAListenerThatDoesNotReturn) {
  framework.events().onEvent = [this](const std::string&) { block(); };
  framework.service<EventSink>()->allServicesPublished({"station", 1});
  expectThatTheCheckWaits("controller");
  framework.bundle("spf_controller").Stop();  // no event is being delivered any longer
}

/// A transport that does not return in time.
class BlockingTransport : public Transport {
 public:
  explicit BlockingTransport(std::function<void()> block) : block_(std::move(block)) {}

  EndpointID bind(const EndpointDescription&, std::shared_ptr<EndpointListener>) override {
    block_();
    throw std::runtime_error("stopped");
  }
  EndpointID connect(const EndpointDescription&, std::shared_ptr<EndpointListener>) override { return 0; }
  void close(EndpointID) override {}
  std::string ask(const std::string&, const std::string&, const std::string&, std::chrono::milliseconds) override {
    return "";
  }

 private:
  const std::function<void()> block_;
};

TEST_F(ABlockedThread, OfThePublishersIsThatOfATransportThatDoesNotReturn) {
  auto registration =
      framework.context().RegisterService<Transport>(std::make_shared<BlockingTransport>([this] { block(); }),
                                                     {{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}});
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  ASSERT_TRUE(isBlocked.wait());
  registration.Unregister();  // so that it is asked only once
  expectThatTheCheckWaits("publishers");
}

TEST_F(ABlockedThread, OfTheTransportIsThatOfAnAnswerThatDoesNotReturn) {
  struct Answerer : frameworktest::TestListener {
    explicit Answerer(std::function<void()> act) : act_(std::move(act)) {}
    std::string answer(const std::string&, const std::string&) override {
      act_();
      return "";
    }
    const std::function<void()> act_;
  };
  bound(address, std::make_shared<Answerer>([this] { block(); }));
  connect(address, client);
  ASSERT_TRUE(client->isOpened.wait());
  std::thread asker([this] { ask("question"); });
  expectThatTheCheckWaits("transport");
  asker.join();
}

class TheHealthCheck : public HealthCheckFixture {};

TEST_F(TheHealthCheck, OfTheControllerIsDoneAfterTheReportsMadeBefore) {
  for (int i = 0; i < 100; ++i) {
    framework.service<EventSink>()->allServicesPublished({"station", 1});
  }
  std::size_t delivered = 0;
  Gate isDone;
  checkOf("controller")->check([&] {
    delivered = framework.events().lines().size();
    isDone.open();
  });
  ASSERT_TRUE(isDone.wait());
  EXPECT_EQ(delivered, 100u);
}

TEST_F(TheHealthCheck, OfThePublishersIsDoneAfterTheRevisionsDeliveredBefore) {
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  auto context = framework.context();
  const auto references =
      context.GetServiceReferences<ManagedServiceFactory>("(service.pid=zk.spf.rpcservicepublisher)");
  context.GetService(references.at(0))->Removed("zk.spf.rpcservicepublisher~zk.spf.framework~weather/station");
  std::size_t records = 1;
  Gate isDone;
  checkOf("publishers")->check([&] {
    records = framework.service<EndpointStatus>()->list().size();
    isDone.open();
  });
  ASSERT_TRUE(isDone.wait());
  EXPECT_EQ(records, 0u);
}

TEST_F(TheHealthCheck, OfTheTransportIsDoneAfterTheEndpointsRequestedBefore) {
  bind(address, server);
  bool wasOpen = false;
  Gate isDone;
  checkOf("transport")->check([&] {
    wasOpen = server->isOpened.isOpen();
    isDone.open();
  });
  ASSERT_TRUE(isDone.wait());
  EXPECT_TRUE(wasOpen);
}

TEST_F(TheHealthCheck, ThatAStopOvertakesIsDoneBeforeTheStopReturns) {
  for (const auto& [component, bundle] :
       {std::pair("controller", "spf_controller"), std::pair("publishers", "spf_publishers"),
        std::pair("transport", "spf_zeromq_transport")}) {
    Gate isDone;
    checkOf(component)->check([&] { isDone.open(); });
    framework.bundle(bundle).Stop();
    EXPECT_TRUE(isDone.isOpen()) << component;
  }
}

}  // namespace
