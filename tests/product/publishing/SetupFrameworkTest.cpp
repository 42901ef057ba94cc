#include "agent/spf/frameworksetup/setupFramework.hpp"

#include <thread>

#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::setupFramework;
using Texts = std::vector<std::string>;

class SettingUpTheFramework : public testing::Test {
 protected:
  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(SettingUpTheFramework, LeavesOneConfigurationWithOneLegacyPublisherAndTheCountTwo) {
  setupFramework();
  EXPECT_EQ(framework_.configurationIDs(), Texts{"LegacySetupFramework"});
  const auto properties = framework_.configuration("LegacySetupFramework");
  ASSERT_TRUE(properties);
  EXPECT_EQ(asList(properties->at("servicePublisherConfigurations")).size(), 1u);
  const auto& entry = entryIn(*properties, "servicePublisherConfigurations", "LegacySetupFramework");
  EXPECT_EQ(asText(entry.at("name")), "legacyservicepublisher");
  EXPECT_EQ(asText(entry.at("factoryPID")), "zk.spf.legacyservicepublisher");
  EXPECT_TRUE(asList(properties->at("serviceConfigurations")).empty());
  EXPECT_TRUE(asList(properties->at("servicePublisherMappings")).empty());
  EXPECT_EQ(asInt(properties->at("modificationCount")), 2);
}

TEST_F(SettingUpTheFramework, ConnectsToTwoDiscoveryServicesInOrderAndBindsToNothing) {
  setupFramework();
  const auto properties = framework_.configuration("LegacySetupFramework");
  const auto& config =
      asMap(entryIn(*properties, "servicePublisherConfigurations", "LegacySetupFramework").at("config"));
  EXPECT_EQ(texts(asList(config.at("endpointsToConnectTo"))),
            (Texts{"quintafexServiceHostDiscovery", "zephraConnectorDiscovery"}));
  EXPECT_TRUE(asList(config.at("endpointsToBindTo")).empty());
  EXPECT_EQ(asText(config.at("importFilter")), "");
  EXPECT_EQ(asText(config.at("exportFilter")), "");
}

TEST_F(SettingUpTheFramework, LogsNothingAndRemovesNothing) {
  RecordedLog log(~0u);
  setupFramework();
  EXPECT_TRUE(log.records().empty());
  EXPECT_TRUE(framework_.configuration("LegacySetupFramework"));
}

TEST_F(SettingUpTheFramework, TwiceInstallsTheBundlesTwiceAndPublishesTheSameIDTwice) {
  framework_.stopConfigurationAdmin();
  const auto admin = ConfigurationAdminDouble::registerWith(framework_);
  setupFramework();
  setupFramework();
  EXPECT_EQ(framework_.host().installations().size(), 14u);
  const Texts once = {"GetFactoryConfiguration zk.spf.framework LegacySetupFramework",
                      "Update zk.spf.framework~LegacySetupFramework"};
  Texts twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(admin->calls(), twice);
}

TEST_F(SettingUpTheFramework, FollowsNoEventsAfterwards) {
  setupFramework();
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(SettingUpTheFramework, MayBeDoneByManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { setupFramework(); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(framework_.host().installations().size(), 56u);
  EXPECT_EQ(framework_.configurationIDs(), Texts{"LegacySetupFramework"});
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(SettingUpTheFramework, OnOneThreadWaitsForNoOther) {
  framework_.stopConfigurationAdmin();
  const auto admin = ConfigurationAdminDouble::registerWith(framework_);
  constexpr int atOnce = 4;
  Counter writing;
  admin->onCall([&](const std::string& call) {
    if (call.rfind("Update", 0) == 0) {
      writing.add();
      EXPECT_TRUE(writing.waitFor(atOnce));
    }
  });
  std::vector<std::thread> threads;
  for (int i = 0; i < atOnce; ++i) {
    threads.emplace_back([] { setupFramework(); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(asInt(admin->properties("zk.spf.framework~LegacySetupFramework")->at("modificationCount")), 2);
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST(SettingUpThroughAConfigurationAdminThatNeverAnswers, ReturnsAllTheSame) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  admin->withholdAnswers();
  setupFramework();
  EXPECT_EQ(admin->pids(), Texts{"zk.spf.framework~LegacySetupFramework"});
  EXPECT_EQ(framework.listeners(), 0u);
  admin->answerAll();
}

TEST(SettingUpWithoutConfigurationAdmin, InstallsTheBundlesPublishesNothingAndThrowsNothing) {
  TestFramework framework;
  RecordedLog log(~0u);
  EXPECT_NO_THROW(setupFramework());
  EXPECT_EQ(framework.host().installations().size(), 7u);
  EXPECT_EQ(framework.listeners(), 0u);
  EXPECT_TRUE(log.records().empty());
}

TEST(SettingUpWithoutAFramework, PublishesNothingAndThrowsNothing) {
  HostDouble host;
  EXPECT_NO_THROW(setupFramework());
  EXPECT_EQ(host.installations().size(), 7u);
}

}  // namespace spf::test
