#include <cppmicroservices/Constants.h>

#include "setup/getConfigurationAdmin.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::getConfigurationAdmin;

TEST(LookingUpConfigurationAdmin, GivesNothingAndThrowsNothingWithoutAFramework) {
  HostDouble host;
  EXPECT_EQ(getConfigurationAdmin(), nullptr);
}

TEST(LookingUpConfigurationAdmin, GivesNothingAndThrowsNothingWithoutTheService) {
  TestFramework framework;
  EXPECT_EQ(getConfigurationAdmin(), nullptr);
}

TEST(LookingUpConfigurationAdmin, GivesTheServiceThatIsRegistered) {
  FrameworkWithConfigurationAdmin framework;
  EXPECT_NE(getConfigurationAdmin(), nullptr);
}

TEST(LookingUpConfigurationAdmin, GivesTheOneOfTheHighestRanking) {
  TestFramework framework;
  const auto first = ConfigurationAdminDouble::registerWith(framework);
  const auto best = std::make_shared<ConfigurationAdminDouble>();
  framework.context().RegisterService<cm::ConfigurationAdmin>(
      best, {{cppmicroservices::Constants::SERVICE_RANKING, Any(10)}});
  EXPECT_EQ(getConfigurationAdmin(), best);
}

TEST(LookingUpConfigurationAdmin, ConsidersOnlyWhatMatchesTheFilter) {
  TestFramework framework;
  const auto plain = ConfigurationAdminDouble::registerWith(framework);
  const auto marked = std::make_shared<ConfigurationAdminDouble>();
  framework.context().RegisterService<cm::ConfigurationAdmin>(marked, {{"mark", text("yes")}});
  EXPECT_EQ(getConfigurationAdmin(cppmicroservices::LDAPFilter("(mark=yes)")), marked);
  EXPECT_EQ(getConfigurationAdmin(cppmicroservices::LDAPFilter("(mark=no)")), nullptr);
  EXPECT_EQ(getConfigurationAdmin(), plain);
}

TEST(LookingUpConfigurationAdmin, LooksAnewEachTime) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  EXPECT_EQ(getConfigurationAdmin(), admin);
  admin->unregister();
  EXPECT_EQ(getConfigurationAdmin(), nullptr);
}

TEST(LookingUpConfigurationAdmin, KeepsTheServiceAliveAndNothingElse) {
  TestFramework framework;
  auto admin = ConfigurationAdminDouble::registerWith(framework);
  const auto holders = framework.pointer().use_count();
  auto found = getConfigurationAdmin();
  EXPECT_EQ(framework.pointer().use_count(), holders);

  const std::weak_ptr<ConfigurationAdminDouble> alive = admin;
  admin->unregister();
  admin.reset();
  EXPECT_FALSE(alive.expired());
  found.reset();
  EXPECT_TRUE(alive.expired());
}

TEST(LookingUpConfigurationAdmin, SaysThatTheContextOfAStoppedFrameworkIsNoLongerValid) {
  FrameworkWithConfigurationAdmin framework;
  framework.stop();
  EXPECT_EQ(messageOf([] { getConfigurationAdmin(); }), "The bundle context is no longer valid");
  EXPECT_THROW(getConfigurationAdmin(), std::runtime_error);
}

}  // namespace spf::test
