#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "TestFramework.hpp"
#include "spf/test/Gate.hpp"

namespace trackertest {

struct Interface {
  int value = 0;
};

struct Other {};

}  // namespace trackertest

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using testing::ElementsAre;
using testing::IsEmpty;
using trackertest::Interface;
using trackertest::Other;

/// Keeps a text for each service and notes the service's changes.
struct NotingCustomizer : ServiceTrackerCustomizer<Interface, std::string> {
  std::shared_ptr<std::string> AddingService(const ServiceReference<Interface>& reference) override {
    const auto name = any_cast<std::string>(reference.GetProperty("name"));
    journal.note("adding " + name);
    return name == "unwanted" ? nullptr : std::make_shared<std::string>(name);
  }
  void ModifiedService(const ServiceReference<Interface>&, const std::shared_ptr<std::string>& name) override {
    journal.note("modified " + *name);
  }
  void RemovedService(const ServiceReference<Interface>&, const std::shared_ptr<std::string>& name) override {
    journal.note("removed " + *name);
  }

  Journal journal;
};

class AServiceTracker : public StartedFramework {
 protected:
  ServiceRegistration<Interface> add(const std::string& name, int ranking = 0) {
    auto service = std::make_shared<Interface>();
    service->value = ranking;
    return context().RegisterService<Interface>(service, {{"name", name}, {Constants::SERVICE_RANKING, ranking}});
  }
};

TEST_F(AServiceTracker, TracksNothingBeforeItIsOpened) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context());
  EXPECT_TRUE(sut.IsEmpty());
  EXPECT_EQ(sut.GetTrackingCount(), -1);
  EXPECT_FALSE(sut.GetService());
}

TEST_F(AServiceTracker, TracksExistingAndNewServices) {
  const auto first = add("one");
  ServiceTracker<Interface> sut(context());
  sut.Open();
  EXPECT_EQ(sut.Size(), 1);
  auto second = add("two", 5);
  EXPECT_EQ(sut.Size(), 2);
  EXPECT_EQ(sut.GetService()->value, 5);
  EXPECT_EQ(sut.GetServiceReference(), second.GetReference());
  EXPECT_EQ(sut.GetServices().size(), 2u);
  EXPECT_EQ(sut.GetServiceReferences().size(), 2u);
  second.Unregister();
  EXPECT_EQ(sut.Size(), 1);
  EXPECT_EQ(sut.GetService()->value, 0);
}

TEST_F(AServiceTracker, CallsItsCustomizerForEachChange) {
  NotingCustomizer customizer;
  ServiceTracker<Interface, std::string> sut(context(), &customizer);
  auto early = add("early");
  sut.Open();
  auto late = add("late");
  late.SetProperties({{"name", std::string("late")}, {"more", 1}});
  early.Unregister();
  sut.Close();
  EXPECT_THAT(customizer.journal.texts(),
              ElementsAre("adding early", "adding late", "modified late", "removed early", "removed late"));
}

TEST_F(AServiceTracker, IgnoresServicesThatItsCustomizerRefuses) {
  NotingCustomizer customizer;
  ServiceTracker<Interface, std::string> sut(context(), &customizer);
  sut.Open();
  auto registration = add("unwanted");
  EXPECT_TRUE(sut.IsEmpty());
  registration.Unregister();
  EXPECT_THAT(customizer.journal.texts(), ElementsAre("adding unwanted"));
}

TEST_F(AServiceTracker, TracksByFilter) {
  const auto first = add("one");
  const auto second = add("two");
  ServiceTracker<Interface> sut(context(), LDAPFilter("(name=two)"));
  sut.Open();
  EXPECT_EQ(sut.Size(), 1);
  auto third = add("three");
  EXPECT_EQ(sut.Size(), 1);
  third.SetProperties({{"name", std::string("two")}});
  EXPECT_EQ(sut.Size(), 2);
  third.SetProperties({{"name", std::string("three")}});
  EXPECT_EQ(sut.Size(), 1);
}

TEST_F(AServiceTracker, TracksOneServiceByItsReference) {
  auto first = add("one");
  const auto second = add("two");
  ServiceTracker<Interface> sut(context(), first.GetReference());
  sut.Open();
  EXPECT_EQ(sut.Size(), 1);
  EXPECT_TRUE(sut.GetService(first.GetReference()));
  EXPECT_FALSE(sut.GetService(second.GetReference()));
  first.Unregister();
  EXPECT_TRUE(sut.IsEmpty());
}

TEST_F(AServiceTracker, IgnoresServicesThatMatchItsFilterWithoutItsInterface) {
  NotingCustomizer customizer;
  ServiceTracker<Interface, std::string> sut(context(), LDAPFilter("(name=*)"), &customizer);
  auto early = context().RegisterService<Other>(std::make_shared<Other>(), {{"name", std::string("early other")}});
  const auto wanted = add("wanted");
  sut.Open();
  auto late = context().RegisterService<Other>(std::make_shared<Other>(), {{"name", std::string("late other")}});
  late.SetProperties({{"name", std::string("another")}});
  early.Unregister();
  late.Unregister();
  EXPECT_EQ(sut.Size(), 1);
  EXPECT_EQ(sut.GetTrackingCount(), 1);
  EXPECT_THAT(customizer.journal.texts(), ElementsAre("adding wanted"));
}

TEST_F(AServiceTracker, KeepsTheInterfaceOfTheReferenceThatItTracks) {
  const ServiceReferenceU reference = add("one").GetReference();
  ASSERT_EQ(reference.GetInterfaceId(), us_service_interface_iid<Interface>());
  ServiceTracker<void> sut(context(), reference);
  sut.Open();
  EXPECT_EQ(sut.GetServiceReference().GetInterfaceId(), us_service_interface_iid<Interface>());
  EXPECT_TRUE(sut.GetService(reference));
}

TEST_F(AServiceTracker, TracksNothingByAReferenceToAnUnregisteredService) {
  auto registration = add("one");
  const auto reference = registration.GetReference();
  registration.Unregister();
  ServiceTracker<Interface> sut(context(), reference);
  sut.Open();
  EXPECT_TRUE(sut.IsEmpty());
}

TEST_F(AServiceTracker, TracksByTheNameOfAnInterface) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context(), us_service_interface_iid<Interface>());
  sut.Open();
  EXPECT_EQ(sut.Size(), 1);
}

TEST_F(AServiceTracker, CountsItsChanges) {
  ServiceTracker<Interface> sut(context());
  sut.Open();
  EXPECT_EQ(sut.GetTrackingCount(), 0);
  auto registration = add("one");
  EXPECT_EQ(sut.GetTrackingCount(), 1);
  registration.SetProperties({});
  EXPECT_EQ(sut.GetTrackingCount(), 2);
  registration.Unregister();
  EXPECT_EQ(sut.GetTrackingCount(), 3);
}

TEST_F(AServiceTracker, ForgetsAServiceOnRequest) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context());
  sut.Open();
  sut.Remove(registration.GetReference());
  EXPECT_TRUE(sut.IsEmpty());
}

TEST_F(AServiceTracker, ReturnsAllTrackedServices) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context());
  sut.Open();
  ServiceTracker<Interface>::TrackingMap tracked;
  sut.GetTracked(tracked);
  ASSERT_EQ(tracked.size(), 1u);
  EXPECT_EQ(tracked.begin()->first, registration.GetReference());
}

TEST_F(AServiceTracker, MayBeOpenedAgain) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context());
  sut.Open();
  sut.Open();
  sut.Close();
  EXPECT_TRUE(sut.IsEmpty());
  sut.Close();
  sut.Open();
  EXPECT_EQ(sut.Size(), 1);
}

TEST_F(AServiceTracker, WaitsForAService) {
  ServiceTracker<Interface> sut(context());
  sut.Open();
  std::thread other([&] { add("late", 3); });
  const auto service = sut.WaitForService(patience);
  ASSERT_TRUE(service);
  EXPECT_EQ(service->value, 3);
  other.join();
}

TEST_F(AServiceTracker, StopsWaitingAtItsTimeOut) {
  ServiceTracker<Interface> sut(context());
  sut.Open();
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(sut.WaitForService(std::chrono::milliseconds(20)));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
  EXPECT_THROW(sut.WaitForService(std::chrono::milliseconds(-1)), std::invalid_argument);
}

TEST_F(AServiceTracker, StopsWaitingWhenItIsClosed) {
  ServiceTracker<Interface> sut(context());
  sut.Open();
  std::thread other([&] { sut.Close(); });
  EXPECT_FALSE(sut.WaitForService(patience));
  other.join();
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_F(AServiceTracker, StopsWaitingWhenItsContextBecomesInvalid) {
  ServiceTracker<Interface> sut(context());
  sut.Open();
  std::thread other([&] { stopAndWait(framework); });
  EXPECT_THROW(sut.WaitForService(patience), std::logic_error);
  other.join();
  EXPECT_THROW(sut.WaitForService(), std::logic_error);
}
#endif

TEST_F(AServiceTracker, TracksWholeServices) {
  const auto registration = add("one");
  ServiceTracker<void> sut(context(), us_service_interface_iid<Interface>());
  sut.Open();
  const auto interfaces = sut.GetService();
  ASSERT_TRUE(interfaces);
  EXPECT_TRUE(ExtractInterface<Interface>(interfaces));
}

TEST_F(AServiceTracker, NeedsTheInterfaceOfWholeServices) {
  EXPECT_THROW(ServiceTracker<void>{context()}, ServiceException);
}

TEST_F(AServiceTracker, IsHarmlessAfterTheFrameworkStopped) {
  const auto registration = add("one");
  ServiceTracker<Interface> sut(context());
  sut.Open();
  stopAndWait(framework);
  EXPECT_NO_THROW(sut.Close());
}

TEST_F(AServiceTracker, TracksServicesThatOtherThreadsRegister) {
  NotingCustomizer customizer;
  ServiceTracker<Interface, std::string> sut(context(), &customizer);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < 50; ++round) {
        auto registration = add(std::to_string(thread));
        sut.GetService();
        registration.Unregister();
      }
    });
  }
  for (int round = 0; round < 50; ++round) {
    sut.Open();
    sut.Close();
  }
  for (auto& thread : threads) {
    thread.join();
  }
  sut.Close();
  EXPECT_TRUE(sut.IsEmpty());
  int balance = 0;
  for (const auto& text : customizer.journal.texts()) {
    // A service that Open() finds may be reported as modified when the event of its registration arrives.
    balance += text.rfind("adding", 0) == 0 ? 1 : text.rfind("removed", 0) == 0 ? -1 : 0;
  }
  EXPECT_EQ(balance, 0);
}

}  // namespace
