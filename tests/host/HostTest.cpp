#include "agent/host/host.hpp"

#include <optional>
#include <thread>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include "HookedBundle.hpp"
#include "TestTree.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::host::services::getFramework;
using agent::host::services::Host;
using agent::host::services::HostOptions;
using agent::host::services::installAndStart;
using cppmicroservices::Bundle;
using cppmicroservices::Framework;
using hosttest::path;
using hosttest::TestTree;

bool hasConfigurationAdmin(Framework& framework) {
  auto context = framework.GetBundleContext();
  return !context.GetServiceReferences<cppmicroservices::service::cm::ConfigurationAdmin>().empty();
}

std::string storageOf(Framework& framework) {
  return cppmicroservices::any_cast<std::string>(
      framework.GetBundleContext().GetProperty(cppmicroservices::Constants::FRAMEWORK_STORAGE));
}

std::string errorOf(const HostOptions& options) {
  try {
    const Host host(options);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(WithoutAHost, ThereIsNoFramework) {
  EXPECT_EQ(getFramework(), nullptr);
}

TEST(WithoutAHost, NothingIsInstalled) {
  EXPECT_TRUE(installAndStart(path(L"bin")).empty());
  const auto filtered = installAndStart(path(L"bin"), cppmicroservices::LDAPFilter("(a=b)"));
  EXPECT_TRUE(filtered.first.empty());
  EXPECT_TRUE(filtered.second.empty());
}

TEST(AHost, RunsTheFrameworkAndConfigurationAdmin) {
  const Host sut;
  const auto framework = getFramework();
  ASSERT_NE(framework, nullptr);
  EXPECT_EQ(framework->GetState(), Bundle::STATE_ACTIVE);
  EXPECT_TRUE(hasConfigurationAdmin(*framework));
}

TEST(AHost, StopsTheFrameworkWhenItIsDestroyed) {
  std::shared_ptr<Framework> framework;
  {
    const Host sut;
    framework = getFramework();
  }
  EXPECT_NE(framework->GetState(), Bundle::STATE_ACTIVE);
  EXPECT_EQ(getFramework(), nullptr);
}

TEST(AHost, CanBeFollowedByAnother) {
  std::shared_ptr<Framework> first;
  {
    const Host host;
    first = getFramework();
  }
  const Host sut;
  EXPECT_NE(getFramework(), first);
  EXPECT_TRUE(hasConfigurationAdmin(*getFramework()));
}

TEST(AHost, IsTheOnlyOneAtATime) {
  const Host first;
  const auto framework = getFramework();
  EXPECT_THROW(Host(), std::logic_error);
  EXPECT_EQ(getFramework(), framework);
  EXPECT_EQ(framework->GetState(), Bundle::STATE_ACTIVE);
}

TEST(AHost, UsesTheParentOfItsLibrarysFolderAsTheRoot) {
  const Host sut;
  EXPECT_EQ(sut.installationRoot(), std::filesystem::canonical(HOST_LIBRARY).parent_path().parent_path());
}

TEST(AHost, PassesFrameworkPropertiesToBundles) {
  HostOptions options;
  options.frameworkProperties["some.key"] = std::string("some value");
  const Host sut(options);
  EXPECT_EQ(getFramework()->GetBundleContext().GetProperty("some.key").ToString(), "some value");
}

TEST(AHost, StoresNothingInTheCurrentDirectory) {
  std::filesystem::path storage;
  {
    const Host sut;
    storage = storageOf(*getFramework());
    EXPECT_TRUE(std::filesystem::is_directory(storage));
    EXPECT_EQ(storage.parent_path(), std::filesystem::temp_directory_path());
  }
  EXPECT_FALSE(std::filesystem::exists(storage));
}

TEST(AHost, KeepsAGivenStorage) {
  const TestTree tree;
  HostOptions options;
  options.frameworkProperties[cppmicroservices::Constants::FRAMEWORK_STORAGE] = tree.root().native();
  {
    const Host sut(options);
    EXPECT_EQ(storageOf(*getFramework()), tree.root().native());
  }
  EXPECT_TRUE(std::filesystem::exists(tree.root()));
}

TEST(AHost, NamesAConfigurationAdminThatDoesNotExist) {
  HostOptions options;
  options.configurationAdminBundle = "/nonexistent/libConfigurationAdmin.so";
  EXPECT_THAT(errorOf(options), testing::HasSubstr("/nonexistent/libConfigurationAdmin.so"));
  EXPECT_EQ(getFramework(), nullptr);
  const Host next;
  EXPECT_TRUE(hasConfigurationAdmin(*getFramework()));
}

TEST(AHost, NamesAConfigurationAdminThatIsNoBundle) {
  const TestTree tree;
  HostOptions options;
  options.configurationAdminBundle = tree.add("lib", NO_BUNDLE);
  EXPECT_THAT(errorOf(options), testing::HasSubstr(options.configurationAdminBundle.native()));
}

TEST(AHost, NamesACompanionThatCannotBeLoaded) {
  const TestTree tree;
  HostOptions options;
  options.configurationAdminBundle = tree.add("lib", BUNDLE_ALPHA);
  const auto companion = tree.addAs("lib", NO_BUNDLE, "libusAsyncWorkService.so");
  EXPECT_THAT(errorOf(options), testing::HasSubstr(companion.native()));
}

TEST(AHost, RefusesAConfigurationAdminThatOthersMayWrite) {
  const TestTree tree;
  HostOptions options;
  options.configurationAdminBundle = tree.add("lib", BUNDLE_ALPHA);
  std::filesystem::permissions(options.configurationAdminBundle, std::filesystem::perms::others_write,
                               std::filesystem::perm_options::add);
  EXPECT_THAT(errorOf(options), testing::HasSubstr("others may write the file"));
  options.permissionCheck = false;
  EXPECT_EQ(errorOf(options), "");
}

TEST(AHost, PreventsAnotherUntilItsBundlesHaveStopped) {
  const TestTree tree;
  tree.add("hooked", BUNDLE_HOOKED);
  spf::test::Gate stopping;
  spf::test::Gate mayStop;
  const hosttest::Hooks hooks([] {},
                              [&] {
                                stopping.open();
                                EXPECT_TRUE(mayStop.wait());
                              });
  std::optional<Host> sut(tree.options());
  installAndStart(path(L"hooked"));
  std::thread destroyer([&] { sut.reset(); });
  EXPECT_TRUE(stopping.wait());
  EXPECT_THROW(Host(), std::logic_error);
  mayStop.open();
  destroyer.join();
  EXPECT_NO_THROW(Host());
}

TEST(AHost, SurvivesABundleWhoseStopThrows) {
  const TestTree tree;
  tree.add("hooked", BUNDLE_HOOKED);
  const hosttest::Hooks hooks([] {}, [] { throw 42; });
  {
    const Host sut(tree.options());
    installAndStart(path(L"hooked"));
  }
  EXPECT_EQ(getFramework(), nullptr);
}

}  // namespace
