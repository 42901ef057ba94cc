#include <future>
#include <thread>

#include <cppmicroservices/ServiceEvent.h>

#include "spf/test/Gate.hpp"
#include "support/AllocationHook.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;

class UpdateTracking : public testing::Test {
 protected:
  static SPFConfigurationBuilder builder() {
    return std::move(SPFConfigurationBuilder("tracked").addServicePublisher(publisher("p")));
  }
  std::shared_ptr<FrameworkListener> registeredListener() {
    auto context = framework_.context();
    return context.GetService(context.GetServiceReference<FrameworkListener>());
  }
  static std::shared_ptr<const ServicesEvent> published(std::uint32_t count = 1) {
    return std::make_shared<const ServicesEvent>(ServicesEvent{{0}, ServicesEvent::allPublished, "p", count});
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(UpdateTracking, RegistersOneListenerUntilEveryPublisherIsComplete) {
  auto sut = builder().addServicePublisher(publisher("q")).build();
  EXPECT_EQ(framework_.listeners(), 1u);
  framework_.sendPublished("p", 1);
  EXPECT_EQ(framework_.listeners(), 1u);
  framework_.sendPublished("q", 1);
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(UpdateTracking, RegistersTheListenerUnderItsTypeWithoutProperties) {
  auto sut = builder().build();
  const auto references = framework_.context().GetServiceReferences("agent::spf::frameworklistener::FrameworkListener");
  ASSERT_EQ(references.size(), 1u);
  auto keys = references.front().GetPropertyKeys();
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(keys, (std::vector<std::string>{"objectclass", "service.id", "service.scope"}));
}

TEST_F(UpdateTracking, EndsWithTheHandle) {
  auto sut = builder().build();
  EXPECT_EQ(framework_.listeners(), 1u);
  sut.reset();
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(UpdateTracking, OfTheNextRevisionReplacesThatOfTheFirst) {
  auto sut = builder().build();
  const auto first = registeredListener();
  sut = sut.modify().build();
  EXPECT_EQ(framework_.listeners(), 1u);
  EXPECT_NE(registeredListener(), first);
}

TEST_F(UpdateTracking, OfTwoConfigurationsIsIndependent) {
  auto sut = builder().build();
  auto other = SPFConfigurationBuilder("other").addServicePublisher(publisher("q")).build();
  framework_.sendPublished("q", 1);
  EXPECT_TRUE(other.waitForAllServices(noWait, "q"));
  EXPECT_FALSE(sut.waitForAllServices(noWait, "p"));
  EXPECT_EQ(framework_.listeners(), 1u);
}

TEST_F(UpdateTracking, ToleratesACompletionThatIsReportedAgain) {
  auto sut = builder().build();
  const auto listener = registeredListener();
  listener->handleEvent(published());
  EXPECT_EQ(framework_.listeners(), 0u);
  EXPECT_NO_THROW(listener->handleEvent(published()));
}

TEST_F(UpdateTracking, LeavesAListenerUsableThatItsSenderHoldsLonger) {
  auto sut = builder().build();
  const auto listener = registeredListener();
  sut.reset();
  EXPECT_NO_THROW(listener->handleEvent(published()));
}

// The service listener runs on the thread that registers, with the registration's lock held.
TEST_F(UpdateTracking, HearsACompletionWhileTheListenerIsBeingRegistered) {
  std::future<void> sender;
  Gate reporting;
  auto context = framework_.context();
  auto token = context.AddServiceListener([&](const cppmicroservices::ServiceEvent& event) {
    if (event.GetType() != cppmicroservices::ServiceEvent::SERVICE_REGISTERED || sender.valid()) {
      return;
    }
    sender = std::async(std::launch::async, [&] {
      const auto listener = registeredListener();
      reporting.open();
      listener->handleEvent(published());
    });
    EXPECT_TRUE(reporting.wait());
  });
  auto sut = builder().build();
  ASSERT_TRUE(sender.valid());
  sender.get();
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
  EXPECT_EQ(framework_.listeners(), 0u);
  context.RemoveListener(std::move(token));
}

TEST_F(UpdateTracking, IsSafeFromASenderWhileTheListenerIsBeingUnregistered) {
  auto sut = builder().build();
  const auto listener = registeredListener();
  std::future<void> sender;
  Gate reporting;
  auto context = framework_.context();
  auto token = context.AddServiceListener([&](const cppmicroservices::ServiceEvent& event) {
    if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING && !sender.valid()) {
      sender = std::async(std::launch::async, [&] {
        reporting.open();
        listener->handleEvent(published());
      });
      EXPECT_TRUE(reporting.wait());
    }
  });
  sut.reset();
  ASSERT_TRUE(sender.valid());
  EXPECT_NO_THROW(sender.get());
  EXPECT_EQ(framework_.listeners(), 0u);
  context.RemoveListener(std::move(token));
}

// Stops the reporting thread where it has decided to call the completion callback: when it copies the
// callback, which takes the memory of one weak reference. No lock of the library is held then.
class UpdateTrackingWithALateCompletion : public UpdateTracking {
 protected:
  std::future<void> reportUpToTheCallback() {
    auto report = std::async(std::launch::async, [this, listener = registeredListener(), event = published()] {
      const AllocationHook hook([this](int, std::size_t size) {
        if (size == sizeof(std::weak_ptr<void>) && !decided_.isOpen()) {
          decided_.open();
          EXPECT_TRUE(goOn_.wait());
        }
      });
      listener->handleEvent(event);
    });
    EXPECT_TRUE(decided_.wait());
    return report;
  }

  Gate decided_;
  Gate goOn_;
};

TEST_F(UpdateTrackingWithALateCompletion, DoesNotTakeTheListenerAwayFromUnderTheUnpublishWait) {
  auto sut = builder().build();
  auto report = reportUpToTheCallback();
  std::promise<void> removed;
  admin_->onCall([&](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      removed.set_value();
    }
  });
  auto unpublished =
      std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  removed.get_future().wait();

  goOn_.open();
  report.get();
  EXPECT_EQ(framework_.listeners(), 1u);
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(unpublished.get());
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(UpdateTrackingWithALateCompletion, DoesNotTakeTheListenerAwayFromUnderASecondUnpublishWait) {
  auto sut = builder().build();
  auto report = reportUpToTheCallback();
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_EQ(framework_.listeners(), 0u);
  auto unpublished =
      std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(framework_.waitForAListener());

  goOn_.open();
  report.get();
  EXPECT_EQ(framework_.listeners(), 1u);
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(unpublished.get());
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(UpdateTrackingWithALateCompletion, LeavesTheListenerOfTheNextRevisionAlone) {
  auto sut = builder().build();
  auto report = reportUpToTheCallback();
  sut = sut.modify().build();
  goOn_.open();
  EXPECT_NO_THROW(report.get());
  EXPECT_EQ(framework_.listeners(), 1u);
  EXPECT_FALSE(sut.waitForAllServices(noWait, "p"));
}

TEST_F(UpdateTrackingWithALateCompletion, IsHarmlessWhenTheHandleIsDestroyedFirst) {
  auto sut = builder().build();
  auto report = reportUpToTheCallback();
  sut.reset();
  EXPECT_EQ(framework_.listeners(), 0u);
  goOn_.open();
  EXPECT_NO_THROW(report.get());
}

// Here the callback holds the tracker when the handle lets go of it: the last release is the
// reporting thread's, inside the service listener that its own unregistration runs.
TEST_F(UpdateTracking, LetsTheReportingThreadReleaseTheTrackerLast) {
  auto sut = builder().build();
  Gate unregistering;
  Gate destroyed;
  auto context = framework_.context();
  auto token = context.AddServiceListener([&](const cppmicroservices::ServiceEvent& event) {
    if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_UNREGISTERING) {
      unregistering.open();
      EXPECT_TRUE(destroyed.wait());
    }
  });
  auto report = std::async(std::launch::async, [&] { framework_.sendPublished("p", 1); });
  ASSERT_TRUE(unregistering.wait());
  sut.reset();
  destroyed.open();
  EXPECT_NO_THROW(report.get());
  EXPECT_EQ(framework_.listeners(), 0u);
  context.RemoveListener(std::move(token));
}

TEST_F(UpdateTracking, EndsQuietlyInAFrameworkThatWasStopped) {
  auto sut = builder().build();
  const auto listener = registeredListener();
  framework_.stop();
  EXPECT_NO_THROW(listener->handleEvent(published()));
  EXPECT_NO_THROW(listener->handleEvent(published()));
  EXPECT_NO_THROW(sut.reset());
}

}  // namespace spf::test
