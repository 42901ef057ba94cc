#include <map>
#include <mutex>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/ConcatenationCalls.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

TEST(InstallingTheFrameworksBundles, TakesSevenCallsInOrderAndFiltersTheSeventhOnly) {
  TestFramework framework;
  const auto configuration = SPFConfigurationBuilder("x").build();
  const auto calls = framework.host().installations();
  const std::wstring directories[] = {L"bin/win64/spf/serialisationproviders",
                                      L"bin/win64/spf/externalprocessdiscovery",
                                      L"bin/win64/spf/providers",
                                      L"bin/win64/spf/framework",
                                      L"bin/win64/spf/servicepublishers",
                                      L"bin/win64/spf/clients",
                                      L"bin/win64/spf/serviceproviders"};
  ASSERT_EQ(calls.size(), 7u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(calls[i].directory, directories[i]);
    EXPECT_FALSE(calls[i].filter);
  }
  EXPECT_EQ(calls[6].directory, directories[6]);
  EXPECT_EQ(calls[6].filter, "(bundle.activator=false)");
}

TEST(InstallingTheFrameworksBundles, HandsOverRelativePathsThatCarryTheFlagOfANewPath) {
  TestFramework framework;
  const auto configuration = SPFConfigurationBuilder("x").build();
  for (const auto& call : framework.host().installations()) {
    EXPECT_EQ(call.directory.rfind(L"bin/win64/spf/", 0), 0u);
    EXPECT_TRUE(call.flag);
  }
}

TEST(InstallingTheFrameworksBundles, MakesAllPathsThroughTheHostBeforeItInstallsAnything) {
  TestFramework framework;
  std::vector<std::size_t> concatenationsAtInstallation;
  const ConcatenationCalls concatenations;
  framework.host().onInstallation(
      [&](const Installation&) { concatenationsAtInstallation.push_back(concatenations.calls().size()); });
  const auto configuration = SPFConfigurationBuilder("x").build();
  // Three make the common root, one more each of the seven directories.
  EXPECT_EQ(concatenationsAtInstallation, std::vector<std::size_t>(7, 10));
  for (const auto& [component, flag] : concatenations.calls()) {
    EXPECT_TRUE(flag);
    EXPECT_FALSE(component.empty());
  }
}

TEST(InstallingTheFrameworksBundles, OnOneThreadWaitsForNoOther) {
  TestFramework framework;
  constexpr int atOnce = 2;
  std::mutex mutex;
  std::map<std::wstring, Counter> arrived;
  // Nobody leaves a directory before the other one has come to it as well.
  framework.host().onInstallation([&](const Installation& installation) {
    std::unique_lock<std::mutex> lock(mutex);
    auto& arrivedHere = arrived[installation.directory];
    lock.unlock();
    arrivedHere.add();
    EXPECT_TRUE(arrivedHere.waitFor(atOnce));
  });
  std::vector<std::thread> installers;
  for (int i = 0; i < atOnce; ++i) {
    installers.emplace_back([] { static_cast<void>(SPFConfigurationBuilder("x").build()); });
  }
  for (auto& installer : installers) {
    installer.join();
  }
  EXPECT_EQ(arrived.size(), 7u);
}

TEST(InstallingTheFrameworksBundles, IsRepeatedInFullByASecondPublication) {
  TestFramework framework;
  const auto admin = ConfigurationAdminDouble::registerWith(framework);
  auto configuration = SPFConfigurationBuilder("x").build();
  configuration = configuration.modify().build();
  const auto calls = framework.host().installations();
  ASSERT_EQ(calls.size(), 14u);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(calls[i].directory, calls[i + 7].directory);
    EXPECT_EQ(calls[i].filter, calls[i + 7].filter);
  }
}

}  // namespace spf::test
