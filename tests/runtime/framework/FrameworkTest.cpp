#include <cppmicroservices/BundleResource.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/ServiceReference.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>
#include <type_traits>
#include <vector>

#include "TestFramework.hpp"
#include "spf/test/Gate.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;

struct Interface {
  int value = 0;
};

class AFramework : public testing::Test {
 protected:
  const TemporaryFolder folder;
  Framework sut = newFramework(folder);
};

using AStartedFramework = StartedFramework;

TEST_F(AFramework, IsInstalledAtFirst) {
  EXPECT_EQ(sut.GetState(), Bundle::STATE_INSTALLED);
  EXPECT_EQ(sut.GetBundleId(), 0);
  EXPECT_EQ(sut.GetSymbolicName(), "system_bundle");
  EXPECT_EQ(sut.GetLocation(), "System Bundle");
  EXPECT_FALSE(sut.GetBundleContext());
}

TEST_F(AFramework, HasAContextOnceInitialised) {
  sut.Init();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_STARTING);
  EXPECT_TRUE(sut.GetBundleContext());
}

TEST_F(AFramework, KeepsItsContextFromInitToStart) {
  sut.Init();
  const auto context = sut.GetBundleContext();
  sut.Start();
  EXPECT_EQ(sut.GetState(), Bundle::STATE_ACTIVE);
  EXPECT_EQ(sut.GetBundleContext(), context);
}

TEST_F(AFramework, ReportsItsStartOnce) {
  Journal journal;
  sut.Init();
  sut.GetBundleContext().AddFrameworkListener([&](const FrameworkEvent& event) {
    journal.note(event.GetType() == FrameworkEvent::FRAMEWORK_STARTED ? "started" : "other");
  });
  sut.Start();
  sut.Init();
  sut.Start();
  EXPECT_THAT(journal.texts(), ElementsAre("started"));
}

TEST_F(AFramework, CannotBeUninstalled) {
  EXPECT_EQ(messageOf<std::runtime_error>([&] { sut.Uninstall(); }), "Cannot uninstall a system bundle.");
}

TEST_F(AFramework, CannotBeWaitedForBeforeItWasStarted) {
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(sut.WaitForStop(milliseconds::zero()).GetType(), FrameworkEvent::FRAMEWORK_ERROR);
  }
}

TEST_F(AFramework, StaysInstalledWhenStoppedBeforeItWasStarted) {
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(stopAndWait(sut).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_EQ(sut.GetState(), Bundle::STATE_INSTALLED);
  }
}

TEST_F(AStartedFramework, IsStoppedByAThreadOfItsOwn) {
  Gate stopping;
  Gate mayStop;
  std::thread::id stopper;
  context().AddBundleListener([&](const BundleEvent&) {
    stopper = std::this_thread::get_id();
    stopping.open();
    EXPECT_TRUE(mayStop.wait());
  });
  framework.Stop();
  ASSERT_TRUE(stopping.wait());
  EXPECT_EQ(framework.GetState(), Bundle::STATE_STOPPING);
  mayStop.open();
  framework.WaitForStop(milliseconds::zero());
  EXPECT_NE(stopper, std::this_thread::get_id());
}

TEST_F(AFramework, IsResolvedAfterItsStop) {
  sut.Start();
  EXPECT_EQ(stopAndWait(sut).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
  EXPECT_EQ(sut.GetState(), Bundle::STATE_RESOLVED);
  EXPECT_EQ(stopAndWait(sut).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
}

TEST_F(AStartedFramework, TimesOutAWaitWhileItIsActive) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(framework.WaitForStop(milliseconds(20)).GetType(), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(20));
}

TEST_F(AFramework, StartsAgainWithANewContextAndNothingElse) {
  sut.Start();
  const auto old = sut.GetBundleContext();
  auto context = old;
  (void)context.RegisterService<Interface>(std::make_shared<Interface>());
  stopAndWait(sut);
  sut.Start();
  EXPECT_FALSE(old);
  EXPECT_TRUE(sut.GetBundleContext());
  EXPECT_NE(sut.GetBundleContext(), old);
  EXPECT_FALSE(sut.GetBundleContext().GetServiceReference<Interface>());
  stopAndWait(sut);
}

TEST_F(AFramework, HasNoBundlesAndCountsThemFromOneWhenItIsStartedAgain) {
  sut.Start();
  sut.GetBundleContext().InstallBundles(DATA_ONLY_BUNDLE);
  stopAndWait(sut);
  sut.Start();
  auto context = sut.GetBundleContext();
  EXPECT_THAT(context.GetBundles(), ElementsAre(sut));
  EXPECT_EQ(context.InstallBundles(DATA_ONLY_BUNDLE).at(0).GetBundleId(), 1);
  stopAndWait(sut);
}

TEST_F(AFramework, HasPropertiesOfItsOwn) {
  auto framework = FrameworkFactory().NewFramework();
  framework.Init();
  const auto context = framework.GetBundleContext();
  const auto text = [&](const std::string& key) { return any_cast<std::string>(context.GetProperty(key)); };
  EXPECT_EQ(text(Constants::FRAMEWORK_STORAGE), "fwdir");
  EXPECT_EQ(text(Constants::FRAMEWORK_UUID).size(), 32u);
  EXPECT_NE(text(Constants::FRAMEWORK_VENDOR), "");
  EXPECT_NE(text(Constants::FRAMEWORK_VERSION), "");
  EXPECT_EQ(text(Constants::FRAMEWORK_WORKING_DIR), std::filesystem::current_path().string());
  EXPECT_NE(any_cast<int>(context.GetProperty(Constants::LIBRARY_LOAD_OPTIONS)), 0);
}

TEST_F(AFramework, HasTheGivenPropertiesToo) {
  auto given = configurationWith(folder);
  given["answer"] = 42;
  auto framework = FrameworkFactory().NewFramework(given);
  framework.Init();
  const auto context = framework.GetBundleContext();
  EXPECT_EQ(any_cast<int>(context.GetProperty("answer")), 42);
  EXPECT_TRUE(context.GetProperty("ANSWER").Empty());
  EXPECT_FALSE(any_cast<bool>(context.GetProperty(Constants::FRAMEWORK_LOG)));
  EXPECT_EQ(any_cast<std::string>(context.GetProperty(Constants::FRAMEWORK_THREADING_SUPPORT)), "multi");
  EXPECT_FALSE(any_cast<std::string>(context.GetProperty(Constants::FRAMEWORK_UUID)).empty());
  EXPECT_EQ(context.GetProperties().GetType(), AnyMap::UNORDERED_MAP);
  EXPECT_EQ(context.GetProperties().count("answer"), 1u);
}

TEST_F(AFramework, TakesTheDefaultForLoadOptionsOfTheWrongType) {
  auto framework =
      FrameworkFactory().NewFramework(FrameworkConfiguration{{Constants::LIBRARY_LOAD_OPTIONS, std::string("lazy")}});
  framework.Start();
  auto defaults = FrameworkFactory().NewFramework();
  defaults.Init();
  EXPECT_EQ(any_cast<int>(framework.GetBundleContext().GetProperty(Constants::LIBRARY_LOAD_OPTIONS)),
            any_cast<int>(defaults.GetBundleContext().GetProperty(Constants::LIBRARY_LOAD_OPTIONS)));
  framework.GetBundleContext().InstallBundles(SCRIPTED_BUNDLE).at(0).Start();
  stopAndWait(framework);
}

TEST_F(AFramework, TakesTheDefaultForAStorageOfTheWrongType) {
  auto framework = FrameworkFactory().NewFramework(
      FrameworkConfiguration{{Constants::FRAMEWORK_STORAGE, 5}, {Constants::FRAMEWORK_WORKING_DIR, folder / "work"}});
  framework.Start();
  auto bundle = framework.GetBundleContext().InstallBundles(DATA_ONLY_BUNDLE).at(0);
  bundle.Start();
  EXPECT_THAT(bundle.GetBundleContext().GetDataFile("file"), testing::StartsWith(folder / "work/fwdir/"));
  stopAndWait(framework);
}

TEST_F(AFramework, HasTheHeadersOfABundle) {
  const auto& headers = sut.GetHeaders();
  const auto text = [&](const std::string& key) { return any_cast<std::string>(headers.at(key)); };
  EXPECT_EQ(text(Constants::BUNDLE_SYMBOLICNAME), "system_bundle");
  EXPECT_EQ(text(Constants::BUNDLE_NAME), "System Bundle");
  EXPECT_EQ(text(Constants::BUNDLE_VERSION), sut.GetVersion().ToString());
  EXPECT_EQ(text(Constants::BUNDLE_MANIFESTVERSION), "2");
  EXPECT_NE(text(Constants::BUNDLE_DESCRIPTION), "");
  EXPECT_NE(text(Constants::BUNDLE_VENDOR), "");
  EXPECT_EQ(headers.count("Bundle.Name"), 1u);
}

TEST_F(AStartedFramework, MakesItsContextEqualToTheInvalidOneWhenItStops) {
  const auto before = context();
  EXPECT_EQ(before, context());
  EXPECT_NE(before, BundleContext());
  stopAndWait(framework);
  EXPECT_EQ(before, context());
  EXPECT_EQ(before, BundleContext());
}

TEST_F(AFramework, RefusesAPropertyOfTheWrongType) {
  for (const auto& key : {Constants::FRAMEWORK_LOG, Constants::FRAMEWORK_WORKING_DIR}) {
    EXPECT_THROW(FrameworkFactory().NewFramework(FrameworkConfiguration{{key, 1}}), BadAnyCastException) << key;
  }
}

/// Notes the thread of each call.
class AnExtraShutdownFunction : public testing::Test {
 protected:
  FrameworkConfiguration configuration() {
    auto given = configurationWith(folder);
    given[Constants::FRAMEWORK_EXTRA_SHUTDOWN_FUNC] =
        std::function<void(void)>([this] { calls.push_back(std::this_thread::get_id()); });
    return given;
  }

  const TemporaryFolder folder;
  std::vector<std::thread::id> calls;
  const std::thread::id here = std::this_thread::get_id();
  Framework framework = FrameworkFactory().NewFramework(configuration());
};

/// Blocks until the framework has that state, or the tests' patience has run out.
/// \return whether it has the state
bool comesTo(Bundle::State state, const Framework& framework) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (framework.GetState() != state && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  return framework.GetState() == state;
}

TEST_F(AnExtraShutdownFunction, IsCalledByEachWaitOnItsThreadAndNotByTheStop) {
  framework.Start();
  framework.Stop();
  ASSERT_TRUE(comesTo(Bundle::STATE_RESOLVED, framework));
  EXPECT_THAT(calls, IsEmpty());
  framework.WaitForStop(milliseconds::zero());
  EXPECT_THAT(calls, ElementsAre(here));
  framework.WaitForStop(milliseconds::zero());
  EXPECT_THAT(calls, ElementsAre(here, here));
}

TEST_F(AnExtraShutdownFunction, IsNotCalledByAWaitThatTimesOut) {
  framework.Start();
  framework.WaitForStop(milliseconds(1));
  EXPECT_THAT(calls, IsEmpty());
  stopAndWait(framework);
}

TEST_F(AnExtraShutdownFunction, IsCalledAlsoWhenTheFrameworkWasNeverStarted) {
  EXPECT_EQ(framework.WaitForStop(milliseconds::zero()).GetType(), FrameworkEvent::FRAMEWORK_ERROR);
  EXPECT_THAT(calls, ElementsAre(here));
}

TEST_F(AFramework, IsIndependentOfOtherFrameworks) {
  const TemporaryFolder otherFolder;
  auto other = newFramework(otherFolder);
  sut.Start();
  other.Start();
  auto first = sut.GetBundleContext().RegisterService<Interface>(std::make_shared<Interface>());
  EXPECT_FALSE(other.GetBundleContext().GetServiceReference<Interface>());
  auto second = other.GetBundleContext().RegisterService<Interface>(std::make_shared<Interface>());
  EXPECT_LT(any_cast<long>(first.GetReference().GetProperty(Constants::SERVICE_ID)),
            any_cast<long>(second.GetReference().GetProperty(Constants::SERVICE_ID)));
  EXPECT_NE(sut, other);
  stopAndWait(sut);
  EXPECT_EQ(other.GetState(), Bundle::STATE_ACTIVE);
  stopAndWait(other);
}

TEST_F(AFramework, IsStoppedWithItsLastHandle) {
  std::optional<Framework> framework = newFramework(folder);
  framework->Start();
  auto context = framework->GetBundleContext();
  const auto registration = context.RegisterService<Interface>(std::make_shared<Interface>());
  Bundle held = context.GetBundle();
  Journal journal;
  context.AddBundleListener([journal](const BundleEvent&) { journal.note("stopping"); });
  framework.reset();
  EXPECT_EQ(held.GetState(), Bundle::STATE_ACTIVE);
  EXPECT_TRUE(context);
  EXPECT_THAT(journal.texts(), IsEmpty());
  held = nullptr;
  EXPECT_THAT(journal.texts(), ElementsAre("stopping"));
  EXPECT_THROW(context.GetBundle(), IllegalStateException);
}

TEST_F(AFramework, LeavesHeldServicesUsableWhenItIsDestroyed) {
  std::optional<Framework> framework = newFramework(folder);
  framework->Start();
  auto context = framework->GetBundleContext();
  auto implementation = std::make_shared<Interface>(Interface{42});
  const std::weak_ptr<Interface> watch = implementation;
  auto registration = context.RegisterService<Interface>(std::move(implementation));
  implementation.reset();
  auto service = context.GetService(registration.GetReference());
  framework.reset();
  ASSERT_FALSE(watch.expired());
  EXPECT_EQ(service->value, 42);
  EXPECT_NO_THROW(registration.SetProperties({{"key", 1}}));
  EXPECT_NO_THROW(registration.Unregister());
  service.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(AStartedFramework, KeepsTheServicesOfItsOwnContextThroughTheStop) {
  auto registration = context().RegisterService<Interface>(std::make_shared<Interface>());
  const auto reference = registration.GetReference();
  stopAndWait(framework);
  EXPECT_TRUE(reference);
  EXPECT_NO_THROW(registration.SetProperties({{"key", 1}}));
  EXPECT_NO_THROW(registration.Unregister());
  EXPECT_FALSE(reference);
  EXPECT_THROW(registration.Unregister(), std::logic_error);
}

TEST_F(AStartedFramework, EndsAbandonedServicesOfItsOwnContextWithTheStop) {
  auto kept = context().RegisterService<Interface>(std::make_shared<Interface>());
  static_cast<void>(context().RegisterService<Interface>(std::make_shared<Interface>()));
  const auto references = context().GetServiceReferences<Interface>();
  ASSERT_EQ(references.size(), 2u);
  auto invalid = context();
  stopAndWait(framework);
  EXPECT_TRUE(references[0]);
  EXPECT_FALSE(references[1]);
  EXPECT_THROW(invalid.GetService(references[0]), IllegalStateException);
  EXPECT_THROW(invalid.GetService(references[1]), std::invalid_argument);
}

TEST_F(AStartedFramework, EndsTheServicesOfItsOwnContextWhenItIsStartedAgain) {
  const auto reference = context().RegisterService<Interface>(std::make_shared<Interface>()).GetReference();
  stopAndWait(framework);
  framework.Start();
  EXPECT_FALSE(reference);
}

TEST_F(AFramework, EndsTheServicesOfItsOwnContextWithItsLastHandle) {
  std::optional<Framework> framework = newFramework(folder);
  framework->Start();
  const auto registration = framework->GetBundleContext().RegisterService<Interface>(std::make_shared<Interface>());
  const auto reference = registration.GetReference();
  Bundle held = *framework;
  framework.reset();
  EXPECT_TRUE(reference);
  held = nullptr;
  EXPECT_FALSE(reference);
}

TEST_F(AStartedFramework, ReportsOnlyItsOwnStopIfItHasNoBundles) {
  Journal bundles;
  Journal services;
  noteBundleEvents(bundles);
  context().AddServiceListener([&](const ServiceEvent&) { services.note("event"); });
  const auto registration = context().RegisterService<Interface>(std::make_shared<Interface>());
  services.take();
  stopAndWait(framework);
  EXPECT_THAT(bundles.texts(), ElementsAre("STOPPING system_bundle"));
  EXPECT_THAT(services.texts(), IsEmpty());
}

TEST_F(AStartedFramework, GivesNoDataFileToItsOwnContext) {
  EXPECT_EQ(context().GetDataFile("file"), "");
}

TEST_F(AStartedFramework, CanBeMadeFromItsOwnBundleOnly) {
  EXPECT_EQ(Framework(context().GetBundle()), framework);
  EXPECT_THROW(Framework{Bundle()}, std::invalid_argument);
  const auto other = context().InstallBundles(DATA_ONLY_BUNDLE).at(0);
  EXPECT_THROW(Framework{other}, std::logic_error);
}

TEST(ADefaultBundle, RefusesEveryCall) {
  const Bundle sut;
  EXPECT_FALSE(sut);
  const std::function<void()> calls[] = {[&] { sut.GetState(); },
                                         [&] { sut.GetBundleContext(); },
                                         [&] { sut.GetBundleId(); },
                                         [&] { sut.GetLocation(); },
                                         [&] { sut.GetSymbolicName(); },
                                         [&] { sut.GetVersion(); },
                                         [&] { sut.GetHeaders(); },
                                         [&] { sut.GetRegisteredServices(); },
                                         [&] { sut.GetServicesInUse(); },
                                         [&] { sut.GetResource("x"); },
                                         [&] { sut.FindResources("", "*", true); },
                                         [&] { sut.GetLastModified(); },
                                         [&] { Bundle(sut).Start(); },
                                         [&] { Bundle(sut).Stop(); },
                                         [&] { Bundle(sut).Uninstall(); }};
  for (const auto& call : calls) {
    EXPECT_EQ(messageOf<std::invalid_argument>(call), "invalid bundle") << "call " << &call - calls;
  }
  EXPECT_TRUE(sut == Bundle());
}

TEST_F(AFramework, RefusesEveryCallToItsBundleAfterItWasMovedFrom) {
  const Framework target(std::move(sut));
  EXPECT_FALSE(sut);
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.GetState(); }), "invalid bundle");
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.Start(); }), "invalid bundle");
}

TEST_F(AFramework, SortsBeforeAnInvalidBundle) {
  EXPECT_TRUE(sut < Bundle());
  EXPECT_FALSE(Bundle() < sut);
  EXPECT_FALSE(Bundle() < Bundle());
}

class AnInvalidContext : public testing::TestWithParam<bool> {
 protected:
  AnInvalidContext() {
    framework.Start();
    auto context = framework.GetBundleContext();
    registration = context.RegisterService<Interface>(std::make_shared<Interface>());
    reference = registration.GetReference();
    if (GetParam()) {
      token = context.AddBundleListener([](const BundleEvent&) {});
      stopAndWait(framework);
      sut = context;
    }
  }

  template <class Call>
  void expectRefusal(Call&& call) {
    EXPECT_EQ(messageOf<IllegalStateException>(call), "The bundle context is no longer valid");
  }

  const TemporaryFolder folder;
  Framework framework = newFramework(folder);
  BundleContext sut;
  // The framework's own bundle has registered it. A stop does not end such services while they are held.
  ServiceRegistration<Interface> registration;
  ServiceReference<Interface> reference;
  ListenerToken token;
};

static_assert(std::is_final_v<IllegalStateException> && std::is_base_of_v<std::runtime_error, IllegalStateException>);

TEST_P(AnInvalidContext, RefusesEveryCall) {
  EXPECT_FALSE(sut);
  expectRefusal([&] { sut.GetBundle(); });
  expectRefusal([&] { sut.GetBundle(0); });
  expectRefusal([&] { sut.GetBundles(); });
  expectRefusal([&] { sut.GetBundles("x"); });
  expectRefusal([&] { sut.GetProperty("x"); });
  expectRefusal([&] { sut.GetProperties(); });
  expectRefusal([&] { sut.GetDataFile("x"); });
  expectRefusal([&] { sut.InstallBundles("x"); });
  expectRefusal([&] { (void)sut.RegisterService<Interface>(std::make_shared<Interface>()); });
  expectRefusal([&] { (void)sut.RegisterService(InterfaceMapConstPtr()); });
  expectRefusal([&] { sut.GetServiceReference<Interface>(); });
  expectRefusal([&] { sut.GetServiceReferences<Interface>("("); });
  expectRefusal([&] { sut.AddServiceListener([](const ServiceEvent&) {}, "("); });
  expectRefusal([&] { sut.AddBundleListener([](const BundleEvent&) {}); });
  expectRefusal([&] { sut.AddFrameworkListener([](const FrameworkEvent&) {}); });
  expectRefusal([&] { sut.RemoveListener(ListenerToken()); });
  expectRefusal([&] { sut.RemoveListener(std::move(token)); });
  ASSERT_TRUE(reference);
  expectRefusal([&] { sut.GetService(reference); });
}

TEST_P(AnInvalidContext, ChecksTheReferenceFirstWhenItGetsAService) {
  EXPECT_THROW(sut.GetService(ServiceReference<Interface>()), std::invalid_argument);
}

TEST_P(AnInvalidContext, MakesServiceObjectsOnlyIfItWasValidOnce) {
  const bool wasValid = GetParam();
  if (wasValid) {
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.GetServiceObjects(ServiceReference<Interface>()); }),
              "The service reference is invalid");
    const auto objects = sut.GetServiceObjects(reference);
    expectRefusal([&] { objects.GetService(); });
  } else {
    expectRefusal([&] { sut.GetServiceObjects(ServiceReference<Interface>()); });
    expectRefusal([&] { sut.GetServiceObjects(reference); });
  }
}

INSTANTIATE_TEST_SUITE_P(DefaultOrStopped, AnInvalidContext, testing::Bool());

TEST_F(AStartedFramework, IgnoresTheExceptionsOfFrameworkListeners) {
  Journal journal;
  context().AddFrameworkListener([](const FrameworkEvent&) { throw std::runtime_error("listener"); });
  noteFrameworkEvents(journal);
  context().AddBundleListener([](const BundleEvent&) { throw 1; });
  EXPECT_NO_THROW(stopAndWait(framework));
  EXPECT_THAT(journal.texts(), ElementsAre("ERROR Bundle listener threw an exception"));
}

TEST_F(AFramework, LogsTheExceptionsOfFrameworkListeners) {
  std::ostringstream log;
  auto given = configurationWith(folder);
  given[Constants::FRAMEWORK_LOG] = true;
  auto framework = FrameworkFactory().NewFramework(given, &log);
  framework.Init();
  framework.GetBundleContext().AddFrameworkListener([](const FrameworkEvent&) { throw std::runtime_error("no time"); });
  framework.Start();
  stopAndWait(framework);
  EXPECT_THAT(log.str(), testing::HasSubstr("A Framework Listener threw an exception: no time"));
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to hang or to crash.

/// A framework whose stop waits for a gate of the test.
class ASlowlyStoppingFramework : public StartedFramework {
 protected:
  void beginToStop() {
    context().AddBundleListener([this](const BundleEvent&) {
      stopping.open();
      EXPECT_TRUE(mayStop.wait());
    });
    framework.Stop();
    ASSERT_TRUE(stopping.wait());
  }

  Gate stopping;
  Gate mayStop;
};

TEST_F(ASlowlyStoppingFramework, StopsEvenIfAWaitTimesOut) {
  beginToStop();
  EXPECT_EQ(framework.GetState(), Bundle::STATE_STOPPING);
  EXPECT_EQ(framework.WaitForStop(milliseconds(1)).GetType(), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
  EXPECT_EQ(framework.WaitForStop(milliseconds(-1)).GetType(), FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
  mayStop.open();
  EXPECT_EQ(framework.WaitForStop(milliseconds::max()).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
}

TEST_F(ASlowlyStoppingFramework, DoesNotStartMeanwhile) {
  beginToStop();
  EXPECT_THROW(framework.Start(), std::runtime_error);
  mayStop.open();
  framework.WaitForStop(milliseconds::zero());
}

/// A log that opens a gate when a wait is logged.
class ObservedLog : public std::stringbuf {
 public:
  Gate wait;

 protected:
  int sync() override {
    if (str().find("waits") != std::string::npos) {
      wait.open();
    }
    return 0;
  }
};

TEST_F(AFramework, LogsTheBundleThatASlowStopWaitsFor) {
  ObservedLog log;
  std::ostream stream(&log);
  auto configuration = configurationWith(folder);
  configuration.emplace(Constants::FRAMEWORK_LOG, true);
  auto slow = FrameworkFactory().NewFramework(std::move(configuration), &stream);
  slow.Start();
  Gate mayStop;
  slow.GetBundleContext().AddBundleListener([&](const BundleEvent&) { EXPECT_TRUE(mayStop.wait()); });
  slow.Stop();
  std::thread waiting([&] { slow.WaitForStop(milliseconds::zero()); });
  EXPECT_TRUE(log.wait.wait());
  mayStop.open();
  waiting.join();
  EXPECT_THAT(log.str(), testing::HasSubstr("INFO The framework's stop still waits for this bundle to stop from"));
  EXPECT_THAT(log.str(), testing::HasSubstr("system_bundle"));
}

TEST_F(AStartedFramework, CannotBeWaitedForByTheThreadThatStopsIt) {
  Journal journal;
  context().AddBundleListener([&](const BundleEvent&) {
    const auto event = framework.WaitForStop(milliseconds::zero());
    journal.note(event.GetType() == FrameworkEvent::FRAMEWORK_ERROR ? "error" : "other");
  });
  stopAndWait(framework);
  EXPECT_THAT(journal.texts(), ElementsAre("error"));
}

TEST_F(AFramework, RefusesEveryCallAfterItWasMovedFrom) {
  const Framework target(std::move(sut));
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.Init(); }), "invalid bundle");
  EXPECT_EQ(messageOf<std::invalid_argument>([&] { sut.WaitForStop(milliseconds::zero()); }), "invalid bundle");
}

TEST_F(AFramework, MayLoseItsLastHandleOnTheThreadThatStopsIt) {
  auto framework = std::make_unique<Framework>(newFramework(folder));
  const auto gone = std::make_shared<Gate>();
  framework->Start();
  auto* const bare = framework.get();
  framework->GetBundleContext().AddBundleListener([&framework, gone](const BundleEvent&) {
    framework.reset();
    gone->open();
  });
  bare->Stop();
  EXPECT_TRUE(gone->wait());
}

#endif

}  // namespace
