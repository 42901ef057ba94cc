#include <atomic>
#include <cerrno>
#include <thread>

#include <cppmicroservices/AnyMap.h>
#include <dlfcn.h>
#include <pthread.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

/// Whether the calling thread fails to create further threads.
thread_local bool hasNoThreads = false;

}  // namespace

// Replaces the system's function, also for the framework.
extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                                             void* (*run)(void*), void* argument) {
  static const auto real = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return hasNoThreads ? EAGAIN : real(thread, attributes, run, argument);
}

namespace {

using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationAdmin;
using cppmicroservices::service::cm::ManagedServiceFactory;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::RecordingListener;
using frameworktest::RunningFramework;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr auto weatherPID = "zk.spf.framework~weather";

class AController : public testing::Test {
 protected:
  std::string waitFor(const std::string& line) { return framework.events().waitFor(line); }

  /// Returns a factory, for deliveries that imitate late ones of Configuration Admin.
  std::shared_ptr<ManagedServiceFactory> factory(const std::string& pid = "zk.spf.framework") {
    auto context = framework.context();
    const auto references = context.GetServiceReferences<ManagedServiceFactory>("(service.pid=" + pid + ")");
    return context.GetService(references.at(0));
  }

  /// Returns the properties of the publishers' factory configurations.
  std::vector<AnyMap> factoryConfigurations(const std::string& factoryPID) {
    std::vector<AnyMap> result;
    for (const auto& configuration : framework.service<ConfigurationAdmin>()->ListConfigurations()) {
      if (configuration->GetFactoryPid() == factoryPID) {
        result.push_back(configuration->GetProperties());
      }
    }
    return result;
  }

  void report(const std::string& publisher) { framework.service<EventSink>()->allServicesPublished({publisher, 1}); }

  RunningFramework framework;
};

template <class T>
T at(const AnyMap& map, const char* key) {
  return cppmicroservices::any_cast<T>(map.at(key));
}

TEST_F(AController, WritesEachPublishersPartOfTheConfiguration) {
  framework.update("weather", Configuration(7)
                                  .publisher("station")
                                  .bind("inproc://x")
                                  .service("t", "weather.Temperature")
                                  .publisher("other")
                                  .service("h", "weather.Humidity"));
  ASSERT_NE(waitFor("published station#7"), "");
  ASSERT_NE(waitFor("published other#7"), "");
  const auto publishers = factoryConfigurations("zk.spf.rpcservicepublisher");
  ASSERT_THAT(publishers, SizeIs(2));
  const auto& station = at<std::string>(publishers[0], "uniqueID") == "station" ? publishers[0] : publishers[1];
  EXPECT_EQ(at<std::string>(station, "name"), "rpcservicepublisher");
  EXPECT_EQ(at<int>(station, "modificationCount"), 7);
  EXPECT_EQ(at<std::vector<Any>>(at<AnyMap>(station, "config"), "endpointsToBindTo").at(0).ToString(), "inproc://x");
  const auto services = at<std::vector<Any>>(station, "services");
  ASSERT_THAT(services, SizeIs(1));
  EXPECT_EQ(at<std::string>(cppmicroservices::any_cast<AnyMap>(services[0]), "name"), "weather.Temperature");
}

TEST_F(AController, DistinguishesPublishersWhateverTheIDs) {
  framework.update("a", Configuration(1).publisher("b/c"));
  framework.update("a/b", Configuration(2).publisher("c"));
  framework.update("a%2Fb", Configuration(3).publisher("c"));
  EXPECT_NE(waitFor("published b/c#1"), "");
  EXPECT_NE(waitFor("published c#2"), "");
  EXPECT_NE(waitFor("published c#3"), "");
  EXPECT_THAT(factoryConfigurations("zk.spf.rpcservicepublisher"), SizeIs(3));
}

TEST_F(AController, RemovesThePublishersOfARemovedConfiguration) {
  framework.update("weather", Configuration(1).publisher("a").publisher("b", frameworktest::legacy));
  ASSERT_NE(waitFor("published a#1"), "");
  ASSERT_NE(waitFor("published b#1"), "");
  framework.remove("weather");
  EXPECT_NE(waitFor("unpublished a#1"), "");
  EXPECT_NE(waitFor("unpublished b#1"), "");
  EXPECT_THAT(factoryConfigurations("zk.spf.rpcservicepublisher"), IsEmpty());
  EXPECT_THAT(factoryConfigurations("zk.spf.legacyservicepublisher"), IsEmpty());
}

TEST_F(AController, MovesAPublisherThatChangesItsKind) {
  framework.update("weather", Configuration(1).publisher("a"));
  ASSERT_NE(waitFor("published a#1"), "");
  framework.update("weather", Configuration(2).publisher("a", frameworktest::legacy));
  EXPECT_NE(waitFor("unpublished a#1"), "");
  EXPECT_NE(waitFor("published a#2"), "");
}

TEST_F(AController, IgnoresAnOlderRevisionThatArrivesLate) {
  framework.update("weather", Configuration(5).publisher("station"));
  ASSERT_NE(waitFor("published station#5"), "");
  factory()->Updated(weatherPID, Configuration(4).publisher("station").publisher("old").properties());
  framework.update("weather", Configuration(6).publisher("station"));
  ASSERT_NE(waitFor("published station#6"), "");
  EXPECT_THAT(framework.events().lines(), ElementsAre("published station#5", "published station#6"));
}

TEST_F(AController, ComparesCountsWithoutTheirSign) {
  const int last = std::numeric_limits<int>::max();
  const int next = std::numeric_limits<int>::min();
  framework.update("weather", Configuration(last).publisher("station"));
  ASSERT_NE(waitFor("published station#2147483647"), "");
  framework.update("weather", Configuration(next).publisher("station"));
  EXPECT_NE(waitFor("published station#2147483648"), "");
}

TEST_F(AController, TreatsALowerCountInConfigurationAdminAsARestart) {
  framework.update("weather", Configuration(5).publisher("station").bind(freeAddress()));
  ASSERT_NE(waitFor("published station#5"), "");
  framework.update("weather", Configuration(2).publisher("station").bind(freeAddress()));
  EXPECT_NE(waitFor("unpublished station#5"), "");
  EXPECT_NE(waitFor("published station#2"), "");
}

TEST_F(AController, AcceptsALowerCountAfterARemoval) {
  framework.update("weather", Configuration(5).publisher("station"));
  ASSERT_NE(waitFor("published station#5"), "");
  framework.remove("weather");
  ASSERT_NE(waitFor("unpublished station#5"), "");
  framework.update("weather", Configuration(1).publisher("station"));
  EXPECT_NE(waitFor("published station#1"), "");
}

TEST_F(AController, ReappliesAConfigurationThatExistsAfterARemoval) {
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
  ASSERT_NE(waitFor("published station#1"), "");
  factory()->Removed(weatherPID);
  EXPECT_NE(waitFor("unpublished station#1"), "");
  EXPECT_TRUE(framework.events().waitFor("published station#1", 2));
}

TEST_F(AController, ReportsAgainWhenTheSameRevisionIsWrittenAgain) {
  framework.update("weather", Configuration(1).publisher("station"));
  ASSERT_NE(waitFor("published station#1"), "");
  framework.update("weather", Configuration(1).publisher("station"));
  EXPECT_TRUE(framework.events().waitFor("published station#1", 2));
}

TEST_F(AController, SurvivesAMalformedConfiguration) {
  framework.service<ConfigurationAdmin>()->GetFactoryConfiguration("zk.spf.framework", "bad")->Update(AnyMap());
  framework.update("weather", Configuration(1).publisher("station"));
  EXPECT_NE(waitFor("published station#1"), "");
}

TEST_F(AController, ReportsAMalformedPublisher) {
  auto properties = Configuration(3).publisher("station").properties();
  AnyMap entry(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  entry["uniqueID"] = std::string("broken");
  auto publishers = at<std::vector<Any>>(properties, "servicePublisherConfigurations");
  publishers.emplace_back(entry);
  properties["servicePublisherConfigurations"] = publishers;
  framework.service<ConfigurationAdmin>()->GetFactoryConfiguration("zk.spf.framework", "weather")->Update(properties);
  EXPECT_THAT(waitFor("error broken#3"), HasSubstr("'broken'"));
  EXPECT_NE(waitFor("published station#3"), "");
}

TEST_F(AController, DeliversEventsToEveryListenerEvenIfOneThrows) {
  struct Thrower : FrameworkListener {
    void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent>) override { throw 42; }
  };
  const auto second = std::make_shared<RecordingListener>();
  auto first = framework.context().RegisterService<FrameworkListener>(std::make_shared<Thrower>(),
                                                                      {{std::string("service.ranking"), 10}});
  auto last = framework.context().RegisterService<FrameworkListener>(second);
  report("x");
  EXPECT_NE(waitFor("published x#1"), "");
  EXPECT_NE(second->waitFor("published x#1"), "");
}

TEST_F(AController, DeliversEventsOnAThreadThatMayWaitForConfigurationAdmin) {
  // On Configuration Admin's own thread this would deadlock.
  spf::test::Gate waited;
  framework.events().onEvent = [&](const std::string&) {
    framework.service<ConfigurationAdmin>()->GetConfiguration("some.pid")->Update(AnyMap()).wait();
    waited.open();
  };
  framework.update("weather", Configuration(1).publisher("station"));
  EXPECT_TRUE(waited.wait());
  framework.bundle("spf_controller").Stop();  // no event is being delivered any longer
}

TEST_F(AController, LetsAListenerUnregisterItselfInAnEvent) {
  const auto listener = std::make_shared<RecordingListener>();
  auto registration = framework.context().RegisterService<FrameworkListener>(listener);
  listener->onEvent = [&](const std::string&) { registration.Unregister(); };
  report("x");
  report("y");
  EXPECT_NE(waitFor("published y#1"), "");
  EXPECT_THAT(listener->lines(), ElementsAre("published x#1"));
}

TEST_F(AController, ReturnsFromAReportWhileAListenerIsRunning) {
  spf::test::Gate handling;
  spf::test::Gate mayReturn;
  framework.events().onEvent = [&](const std::string&) {
    handling.open();
    EXPECT_TRUE(mayReturn.wait());
  };
  report("x");
  EXPECT_TRUE(handling.wait());
  report("y");
  factory()->Updated(weatherPID, Configuration(1).publisher("station").properties());
  mayReturn.open();
  EXPECT_NE(waitFor("published y#1"), "");
  EXPECT_NE(waitFor("published station#1"), "");
  framework.bundle("spf_controller").Stop();  // no event is being delivered any longer
}

TEST_F(AController, DeliversEventsInTheOrderOfTheReports) {
  for (int i = 0; i < 100; ++i) {
    report(std::to_string(i));
  }
  ASSERT_NE(waitFor("published 99#1"), "");
  const auto lines = framework.events().lines();
  ASSERT_THAT(lines, SizeIs(100));
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(lines[static_cast<std::size_t>(i)], "published " + std::to_string(i) + "#1");
  }
}

TEST_F(AController, RemovesThePublishersConfigurationsWhenItStops) {
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
  ASSERT_NE(waitFor("published station#1"), "");
  framework.bundle("spf_controller").Stop();
  EXPECT_THAT(factoryConfigurations("zk.spf.rpcservicepublisher"), IsEmpty());
  EXPECT_EQ(framework.service<EventSink>(), nullptr);
}

TEST_F(AController, ReportsUnpublishedServicesBeforeItHasStopped) {
  framework.update("weather",
                   Configuration(1).publisher("station").bind(freeAddress()).publisher("other", frameworktest::legacy));
  ASSERT_NE(waitFor("published station#1"), "");
  ASSERT_NE(waitFor("published other#1"), "");
  framework.bundle("spf_controller").Stop();
  EXPECT_THAT(framework.events().linesWith("unpublished"),
              UnorderedElementsAre("unpublished station#1", "unpublished other#1"));
}

TEST_F(AController, StopsAfterThePublishersHaveStopped) {
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
  ASSERT_NE(waitFor("published station#1"), "");
  framework.bundle("spf_publishers").Stop();
  framework.bundle("spf_controller").Stop();
  EXPECT_THAT(framework.events().linesWith("unpublished"), IsEmpty());
}

TEST_F(AController, StopsEvenIfAPublisherNeverReports) {
  struct SilentFactory : ManagedServiceFactory {
    void Updated(const std::string&, const AnyMap&) override { isUpdated.open(); }
    void Removed(const std::string&) override {}
    spf::test::Gate isUpdated;
  };
  framework.bundle("spf_publishers").Stop();
  const auto silent = std::make_shared<SilentFactory>();
  auto registration = framework.context().RegisterService<ManagedServiceFactory>(
      silent, {{std::string("service.pid"), std::string("zk.spf.rpcservicepublisher")}});
  framework.update("weather", Configuration(1).publisher("station"));
  ASSERT_TRUE(silent->isUpdated.wait());
  framework.bundle("spf_controller").Stop();
  EXPECT_EQ(framework.bundle("spf_controller").GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
}

/// Listeners that act on the controller inside an event.
class AListener : public AController {
 protected:
  /// Calls a function with the controller, inside the first event.
  void onFirstEvent(const std::function<void(cppmicroservices::Bundle)>& act) {
    // A stopped and a restarted controller may deliver events at the same time, even after the test.
    framework.events().onEvent = [this, act, acted = std::make_shared<std::atomic<bool>>(false)](const std::string&) {
      if (!acted->exchange(true)) {
        act(framework.bundle("spf_controller"));
        isDone.open();
      }
    };
  }

  void publishTwo() {
    framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()).publisher("other"));
  }

  spf::test::Gate isDone;
};

TEST_F(AListener, MayStopTheController) {
  onFirstEvent([](cppmicroservices::Bundle controller) { controller.Stop(); });
  publishTwo();
  EXPECT_TRUE(isDone.wait());
  EXPECT_EQ(framework.bundle("spf_controller").GetState(), cppmicroservices::Bundle::STATE_RESOLVED);
}

TEST_F(AListener, MayStopTheControllerWhenTheSystemHasNoThreadsLeft) {
  std::atomic<bool> isRefused{false};
  onFirstEvent([&](cppmicroservices::Bundle controller) {
    hasNoThreads = true;
    try {
      std::thread([] {}).join();
    } catch (const std::system_error&) {
      isRefused = true;
    }
    try {
      controller.Stop();
    } catch (const std::exception& error) {
      ADD_FAILURE() << error.what();
    }
    hasNoThreads = false;
  });
  // One publisher only, the one that has reported: a stop waits only briefly for one without a report.
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
  EXPECT_TRUE(isDone.wait());
  EXPECT_TRUE(isRefused);
  EXPECT_NE(waitFor("unpublished station#1"), "");
}

TEST_F(AListener, ReceivesReportsMadeWhileItStopsTheController) {
  publishTwo();
  ASSERT_NE(waitFor("published station#1"), "");
  ASSERT_NE(waitFor("published other#1"), "");
  struct Stopper : FrameworkListener {
    explicit Stopper(cppmicroservices::Bundle controller) : controller_(std::move(controller)) {}
    void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent>) override {
      controller_.Stop();
    }
    cppmicroservices::Bundle controller_;
  };
  auto stopper = framework.context().RegisterService<FrameworkListener>(
      std::make_shared<Stopper>(framework.bundle("spf_controller")));
  report("x");
  EXPECT_NE(waitFor("unpublished station#1"), "");
  EXPECT_NE(waitFor("unpublished other#1"), "");
  stopper.Unregister();
}

TEST_F(AListener, MayUninstallTheController) {
  onFirstEvent([](cppmicroservices::Bundle controller) { controller.Uninstall(); });
  publishTwo();
  EXPECT_TRUE(isDone.wait());
  EXPECT_THROW(framework.bundle("spf_controller"), std::runtime_error);
}

TEST_F(AListener, MayRestartTheController) {
  onFirstEvent([](cppmicroservices::Bundle controller) {
    controller.Stop();
    controller.Start();
  });
  publishTwo();
  EXPECT_TRUE(isDone.wait());
  EXPECT_NE(waitFor("published station#1"), "");
  EXPECT_NE(waitFor("published other#1"), "");
}

TEST_F(AController, ResumesWhenItIsRestarted) {
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
  ASSERT_NE(waitFor("published station#1"), "");
  framework.bundle("spf_controller").Stop();
  framework.bundle("spf_controller").Start();
  EXPECT_TRUE(framework.events().waitFor("published station#1", 2));
}

TEST_F(AController, AcceptsConfigurationsFromManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      for (int count = 1; count <= 25; ++count) {
        const auto id = std::to_string(i);
        framework.update(id, Configuration(count).publisher("p" + id));
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  for (int i = 0; i < 4; ++i) {
    EXPECT_NE(waitFor("published p" + std::to_string(i) + "#25"), "");
  }
}

}  // namespace
