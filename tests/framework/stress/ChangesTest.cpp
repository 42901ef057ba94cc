#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "agent/spf/frameworkinterfaces/PeerDirectory.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::host::services::Host;
using agent::host::services::HostOptions;
using agent::spf::frameworkinterfaces::PeerDirectory;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using cppmicroservices::Any;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::freePort;
using frameworktest::legacy;
using frameworktest::RecordingListener;
using frameworktest::rpc;
using frameworktest::RunningFramework;
using testing::IsEmpty;

constexpr std::chrono::seconds longEnough{30};

class Changes : public testing::Test {
 protected:
  std::string waitFor(const std::string& line) { return framework.events().waitFor(line); }

  RunningFramework framework;
};

/// Threads that send requests to a publisher's peer without a pause.
class Load {
 public:
  Load(RunningFramework& framework, const std::string& publisher, const std::string& endpoint) {
    for (int i = 0; i < 2; ++i) {
      threads_.emplace_back([this, directory = framework.service<PeerDirectory>(), publisher, endpoint] {
        while (!ended_) {
          try {
            directory->ask(publisher, endpoint, std::chrono::milliseconds(100));
          } catch (const std::runtime_error&) {
            // There is no peer while the address changes its owner.
          }
        }
      });
    }
  }
  ~Load() {
    ended_ = true;
    for (auto& thread : threads_) {
      thread.join();
    }
  }
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

 private:
  std::atomic<bool> ended_{false};
  std::vector<std::thread> threads_;
};

TEST_F(Changes, ThatSwapEndpointsAndKindsUnderLoadFindEveryAddressFree) {
  const auto one = freeAddress();
  const auto two = freeAddress();
  framework.update("client", Configuration(1).publisher("display").connect(one).connect(two));
  const Load load(framework, "display", one);
  for (int count = 1; count <= 100; ++count) {
    const bool even = count % 2 == 0;
    const auto* kind = count % 4 < 2 ? rpc : legacy;
    framework.update(
        "weather",
        Configuration(count).publisher("a", kind).bind(even ? one : two).publisher("b").bind(even ? two : one));
    const auto origin = "#" + std::to_string(count);
    ASSERT_NE(waitFor("published a" + origin), "");
    ASSERT_NE(waitFor("published b" + origin), "");
    ASSERT_THAT(framework.events().linesWith("error"), IsEmpty());
  }
}

TEST_F(Changes, ThatMoveAnEndpointBetweenConfigurationsFindItFree) {
  const auto port = freePort();
  const auto address = "tcp://127.0.0.1:" + port;
  const auto everywhere = "tcp://*:" + port;
  framework.update("client", Configuration(1).publisher("display").connect(address));
  const Load load(framework, "display", address);
  for (int count = 1; count <= 100; ++count) {
    const auto from = count % 2 == 0 ? "a" : "b";
    const auto to = count % 2 == 0 ? "b" : "a";
    framework.update(from, Configuration(count).publisher(from));
    // Two spellings in turn, which collide.
    framework.update(to, Configuration(count).publisher(to).bind(count % 2 == 0 ? everywhere : address));
    ASSERT_NE(waitFor("published " + std::string(to) + "#" + std::to_string(count)), "");
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

// Each thread has a publisher of its own; all use the library at the same time.
TEST_F(Changes, OfSixThreadsAreAllApplied) {
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 6; ++thread) {
    threads.emplace_back([thread] {
      const auto id = "p" + std::to_string(thread);
      const std::string addresses[] = {freeAddress(), freeAddress()};
      auto configuration = SPFConfigurationBuilder(id).addServicePublisher(id, rpc, {}, {addresses[0]}, "", "").build();
      for (int i = 1; i <= 150; ++i) {
        configuration = configuration.modify()
                            .removeServicePublisher(id)
                            .addServicePublisher(id, rpc, {}, {addresses[i % 2]}, "", "")
                            .build();
      }
      EXPECT_TRUE(configuration.waitForAllServices(longEnough, id));
      EXPECT_TRUE(configuration.waitForAllEndpoints(longEnough, id));
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

class RestartOf : public Changes, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(EachBundle, RestartOf,
                         testing::Values("spf_json_serialiser", "spf_table_discovery", "spf_zeromq_transport",
                                         "spf_controller", "spf_publishers", "spf_peer_directory"),
                         [](const auto& bundle) { return std::string(bundle.param); });

TEST_P(RestartOf, LeavesTheFrameworkWorking) {
  const auto address = freeAddress();
  for (int count = 1; count <= 10; ++count) {
    framework.update("weather",
                     Configuration(count).publisher("station").bind(address).service("t", "weather.Temperature"));
    framework.update("client", Configuration(count).publisher("display").connect(address));
    const auto origin = "#" + std::to_string(count);
    ASSERT_NE(waitFor("published station" + origin), "");
    ASSERT_NE(waitFor("published display" + origin), "");
    framework.bundle(GetParam()).Stop();
    framework.bundle(GetParam()).Start();
  }
  framework.update("weather", Configuration(11).publisher("station").bind(address).service("t", "weather.Temperature"));
  framework.update("client", Configuration(11).publisher("display").connect(address));
  ASSERT_NE(waitFor("published station#11"), "");
  ASSERT_TRUE(framework.events().waitForEither("connected display#11", "stillConnected display#11"));
  const auto answer = framework.service<PeerDirectory>()->ask("display", address, longEnough);
  EXPECT_EQ(answer.at("publisherID").ToString(), "station");
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(Changes, MayBeMadeByAListenerInsideAnEvent) {
  const auto listener = std::make_shared<RecordingListener>();
  std::vector<SPFConfiguration> configurations;
  listener->onEvent = [&](const std::string& line) {
    const auto count = configurations.size();
    if (line.rfind("published", 0) == 0 && count < 20) {
      const auto id = "inner" + std::to_string(count);
      configurations.push_back(
          SPFConfigurationBuilder(id).addServicePublisher(id, rpc, {}, {freeAddress()}, "", "").build());
    } else if (line.rfind("unpublished outer", 0) == 0) {
      configurations.clear();
    }
    throw 42;
  };
  auto registration = framework.context().RegisterService<FrameworkListener>(listener);
  framework.update("outer", Configuration(1).publisher("outer").bind(freeAddress()));
  ASSERT_NE(waitFor("published inner19#"), "");
  framework.remove("outer");
  for (int i = 0; i < 20; ++i) {
    EXPECT_NE(waitFor("unpublished inner" + std::to_string(i) + "#"), "");
  }
  registration.Unregister();
  framework.bundle("spf_controller").Stop();  // no event is being delivered any longer
}

TEST(SixtyHosts, EndWhileThreadsBuild) {
  for (int round = 0; round < 60; ++round) {
    HostOptions options;
    options.permissionCheck = false;
    auto host = std::make_unique<Host>(std::move(options));
    std::atomic<bool> ended{false};
    spf::test::Counter built;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&, thread] {
        for (int i = 0; !ended; ++i) {
          const auto id = "p" + std::to_string(round) + "-" + std::to_string(thread) + "-" + std::to_string(i);
          try {
            const auto configuration =
                SPFConfigurationBuilder(id).addServicePublisher(id, rpc, {}, {"tcp://127.0.0.1:*"}, "", "").build();
          } catch (const std::exception&) {
            // The framework is being stopped.
          }
          built.add();
        }
      });
    }
    EXPECT_TRUE(built.waitFor(3 + round % 5));
    host.reset();
    ended = true;
    for (auto& thread : threads) {
      thread.join();
    }
  }
}

}  // namespace
