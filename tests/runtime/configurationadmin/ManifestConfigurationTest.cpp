#include "ConfigurationAdminFixture.hpp"

namespace spf::test {

using testing::ElementsAre;

/// A bundle without code whose manifest contains the configuration "from.manifest".
class AManifest : public ConfigurationAdminFixture {
 protected:
  AManifest() {
    AnyMap configuration;
    configuration["pid"] = std::string("from.manifest");
    configuration["properties"] = valued(1);
    AnyMap section;
    section["version"] = 1;
    section["configurations"] = std::vector<Any>{Any(configuration)};
    AnyMap headers;
    headers["bundle.symbolic_name"] = std::string("configured");
    headers["bundle.activator"] = false;
    headers["cm"] = section;
    AnyMap manifests;
    manifests["configured"] = headers;
    configured = context().InstallBundles("/proc/self/exe", manifests).at(0);
  }

  cppmicroservices::Bundle configured;
};

TEST_F(AManifest, HasItsConfigurationsWhileTheBundleIsActive) {
  EXPECT_THAT(admin->ListConfigurations(), ElementsAre());
  configured.Start();
  ASSERT_EQ(admin->ListConfigurations("(pid=from.manifest)").size(), 1u);
  const auto sut = admin->GetConfiguration("from.manifest");
  EXPECT_EQ(sut->GetProperties(), valued(1));
  EXPECT_EQ(sut->GetChangeCount(), 1u);
  configured.Stop();
  EXPECT_THAT(admin->ListConfigurations(), ElementsAre());
}

TEST_F(AManifest, HasItsConfigurationsIfTheBundleWasActiveFirst) {
  admin.reset();
  bundle.Stop();
  configured.Start();
  bundle.Start();
  admin = context().GetService(context().GetServiceReference<ConfigurationAdmin>());

  EXPECT_EQ(admin->GetConfiguration("from.manifest")->GetProperties(), valued(1));
}

TEST_F(AManifest, LeavesAnEqualConfigurationThatExistsToItsOwner) {
  const auto sut = admin->GetConfiguration("from.manifest");
  sut->Update(valued(1)).get();
  configured.Start();

  EXPECT_EQ(sut->GetChangeCount(), 1u);
  configured.Stop();
  EXPECT_EQ(sut->GetProperties(), valued(1));
}

TEST_F(AManifest, ChangesADifferentConfigurationThatExists) {
  const auto sut = admin->GetConfiguration("from.manifest");
  sut->Update(valued(2)).get();
  configured.Start();

  EXPECT_EQ(sut->GetChangeCount(), 2u);
  EXPECT_EQ(sut->GetProperties(), valued(1));
}

TEST_F(AManifest, LeavesAConfigurationThatOtherCodeHasChangedSince) {
  configured.Start();
  const auto sut = admin->GetConfiguration("from.manifest");
  sut->Update(valued(2)).get();
  configured.Stop();

  EXPECT_EQ(sut->GetProperties(), valued(2));
}

TEST_F(AManifest, MayHaveLostAConfigurationToOtherCode) {
  configured.Start();
  admin->GetConfiguration("from.manifest")->Remove();

  EXPECT_NO_THROW(configured.Stop());
}

}  // namespace spf::test
