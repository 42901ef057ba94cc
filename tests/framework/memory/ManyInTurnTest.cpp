#include <chrono>
#include <future>
#include <string>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <gtest/gtest.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include "LiveAllocations.hpp"
#include "agent/host/host.hpp"
#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::host::services::getFramework;
using agent::host::services::Host;
using agent::host::services::HostOptions;
using agent::spf::frameworkinterfaces::HealthCheck;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworkwatch::PublisherWatch;
using cppmicroservices::service::cm::ConfigurationAdmin;
using frameworktest::liveAllocations;
using spf::test::patience;

class ConfigurationsInTurn : public testing::Test {
 protected:
  // The IDs are the same each time: Configuration Admin counts the instances of every PID as long as it lives.
  void live() {
    const std::string id = "station";
    PublisherWatch watch(context(), {id});
    auto configuration = SPFConfigurationBuilder("weather")
                             .addServiceInterface("measured", "weather.Temperature", {})
                             .addServicePublisher(id, "rpcservicepublisher", {}, {"inproc://station"}, "", "")
                             .addServiceMapping("measured", id)
                             .build();
    ASSERT_TRUE(configuration.waitForAllEndpoints(patience, id));
    ASSERT_TRUE(configuration.waitForAllServices(patience, id));
    configuration.reset();
    ASSERT_TRUE(watch.waitUntilAllUnpublished(patience, patience));
  }

  void liveInTurn(int times) {
    for (int time = 0; time < times; ++time) {
      ASSERT_NO_FATAL_FAILURE(live());
    }
  }

  // Lets the threads release what they have accepted; returns when nothing changes any more.
  static long liveAllocationsAtRest() {
    long before = 0;
    long now = liveAllocations();
    do {
      before = now;
      letThreadsFinish();
      now = liveAllocations();
    } while (now != before);
    return now;
  }

  // libzmq's threads finish by themselves, so that it may take more than one look.
  static bool comesDownTo(long expected) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (liveAllocationsAtRest() > expected) {
      if (std::chrono::steady_clock::now() > deadline) {
        return false;
      }
    }
    return true;
  }

 private:
  static HostOptions options() {
    HostOptions options;
    options.permissionCheck = false;  // the build tree may have any permissions
    return options;
  }

  static cppmicroservices::BundleContext context() { return getFramework()->GetBundleContext(); }

  static void letThreadsFinish() {
    context()
        .GetService(context().GetServiceReference<ConfigurationAdmin>())
        ->GetConfiguration("at rest")
        ->Update({})
        .wait();
    auto framework = context();
    for (const auto& reference : framework.GetServiceReferences<HealthCheck>()) {
      std::promise<void> done;
      framework.GetService(reference)->check([&] { done.set_value(); });
      ASSERT_EQ(done.get_future().wait_for(patience), std::future_status::ready);
    }
  }

  const Host host_{options()};
};

constexpr int many = 100;

// An installed runtime keeps something of its own now and then, but less than once for each configuration.
#ifdef SPF_RUNTIME_BUNDLED
constexpr int growthOfRuntime = 0;
#else
constexpr int growthOfRuntime = many - 1;
#endif

TEST_F(ConfigurationsInTurn, LeaveNoMemoryBehind) {
  liveInTurn(many);
  const long after = liveAllocationsAtRest();
  liveInTurn(many);
  EXPECT_TRUE(comesDownTo(after + growthOfRuntime)) << liveAllocations() << " instead of " << after;
}

}  // namespace
