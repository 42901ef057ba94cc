#include "support/Notifications.hpp"
#include "support/RecordedLog.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"
#include "support/failingAllocations.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using std::chrono::milliseconds;
using EventPointer = std::shared_ptr<const FrameworkEvent>;

class AnEventThatRunsOutOfMemory : public testing::Test {
 protected:
  static AnyMap properties() {
    const Any config(AnyMap({{"endpointsToBindTo", Any(List{text("b")})}, {"endpointsToConnectTo", Any(List{})}}));
    const Any entry(AnyMap({{"uniqueID", text("p")}, {"name", text("rpcservicepublisher")}, {"config", config}}));
    return AnyMap({{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(List{entry})}});
  }
  static bool endpointsAreUp(FrameworkSetupListener& sut) { return sut.waitForAllEndpoints(milliseconds(0), "p"); }
  static bool servicesArePublished(FrameworkSetupListener& sut) { return sut.waitForAllServices(milliseconds(0), "p"); }
  static bool failed(FrameworkSetupListener& sut) {
    return messageOf([&] { endpointsAreUp(sut); }) == "broken";
  }

  // Sends `earlier` if there is one, then `event` with every allocation of its failing in turn, and then
  // once more. Whatever the failing one brought about has to be notified, or waiters sleep on.
  void expectsTheSameEventToComplete(const EventPointer& earlier, const EventPointer& event,
                                     bool (*reached)(FrameworkSetupListener&)) {
    FailingAllocations::inEveryRound([&](FailingAllocations& failing) {
      int completions = 0;
      FrameworkSetupListener sut([&] { ++completions; }, properties());
      if (earlier) {
        sut.handleEvent(earlier);
      }
      const int before = notificationsFromThisThread();
      const bool threw = failing.run([&] { sut.handleEvent(event); });
      EXPECT_EQ(notificationsFromThisThread() - before, reached(sut) ? 1 : 0);
      EXPECT_EQ(completions, threw ? 0 : 1);
      sut.handleEvent(event);
      EXPECT_TRUE(reached(sut));
      EXPECT_GE(completions, 1);
    });
  }

  const EventPointer bound_ = std::make_shared<EndpointEvent>(
      EndpointEvent{{FrameworkEvent::endpoint}, EndpointEvent::bound, text("b"), "p", 1});
  const EventPointer published_ =
      std::make_shared<ServicesEvent>(ServicesEvent{{FrameworkEvent::services}, ServicesEvent::allPublished, "p", 1});
  const EventPointer error_ = std::make_shared<ErrorEvent>(
      ErrorEvent{{FrameworkEvent::error}, makeError<std::runtime_error>("broken"), "p", 1});
  RecordedLog log_{4 | 512};
};

TEST_F(AnEventThatRunsOutOfMemory, CompletesThePublisherWhenTheLastEndpointIsReportedOnceMore) {
  expectsTheSameEventToComplete(published_, bound_, endpointsAreUp);
}

TEST_F(AnEventThatRunsOutOfMemory, CompletesThePublisherWhenTheServicesAreReportedOnceMore) {
  expectsTheSameEventToComplete(bound_, published_, servicesArePublished);
}

TEST_F(AnEventThatRunsOutOfMemory, CompletesThePublisherWhenTheErrorIsReportedOnceMore) {
  expectsTheSameEventToComplete(nullptr, error_, failed);
}

}  // namespace spf::test
