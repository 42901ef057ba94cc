#include "support/ConfigurationAdminDouble.hpp"
#include "support/Lending.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"
#include "tracking/removeFromConfigurationAdmin.hpp"

namespace spf::test {

using agent::spf::frameworksetup::removeFromConfigurationAdmin;
using Texts = std::vector<std::string>;

class Withdrawing : public testing::Test {
 protected:
  TestFramework framework_;
  RecordedLog log_{~0u};
};

TEST_F(Withdrawing, TheEmptyIDCallsNobodyAndLogsNothing) {
  const auto admin = ConfigurationAdminDouble::registerWith(framework_);
  removeFromConfigurationAdmin("");
  EXPECT_TRUE(admin->calls().empty());
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(Withdrawing, WithoutConfigurationAdminLogsNothingAndThrowsNothing) {
  EXPECT_NO_THROW(removeFromConfigurationAdmin("x"));
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(Withdrawing, WritesOneRecordThenRemovesTheConfigurationWithoutWaiting) {
  const auto admin = ConfigurationAdminDouble::registerWith(framework_);
  log_.onRecord([&](const LogRecord&) { EXPECT_TRUE(admin->calls().empty()); });
  removeFromConfigurationAdmin("x");
  EXPECT_EQ(log_.records(), std::vector<LogRecord>{progress("About to remove spf configuration for x")});
  EXPECT_EQ(admin->calls(), (Texts{"GetFactoryConfiguration zk.spf.framework x", "Remove zk.spf.framework~x"}));
}

TEST_F(Withdrawing, ReleasesFutureConfigurationAndConfigurationAdminInThisOrder) {
  Texts released;
  const Lending lending(framework_, ConfigurationAdminDouble::registerWith(framework_),
                        [&](const char* what) { released.emplace_back(what); });
  removeFromConfigurationAdmin("x");
  EXPECT_EQ(released, (Texts{"future", "Configuration", "ConfigurationAdmin"}));
}

TEST_F(Withdrawing, InAStoppedFrameworkSaysThatTheContextIsNoLongerValid) {
  framework_.stop();
  EXPECT_EQ(messageOf([] { removeFromConfigurationAdmin("x"); }), "The bundle context is no longer valid");
}

}  // namespace spf::test
