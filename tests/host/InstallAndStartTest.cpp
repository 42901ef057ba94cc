#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include "HookedBundle.hpp"
#include "TestTree.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::host::services::Host;
using agent::host::services::installAndStart;
using cppmicroservices::Bundle;
using cppmicroservices::LDAPFilter;
using hosttest::path;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> names(const std::vector<Bundle>& bundles) {
  std::vector<std::string> result;
  for (const Bundle& bundle : bundles) {
    result.push_back(bundle.GetSymbolicName());
  }
  return result;
}

bool isActive(const Bundle& bundle) {
  return bundle.GetState() == Bundle::STATE_ACTIVE;
}

class InstallAndStart : public testing::Test {
 protected:
  std::string errorOf(const std::wstring& directory) {
    try {
      installAndStart(path(directory));
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const hosttest::TestTree tree;
  const Host host{tree.options()};
};

TEST_F(InstallAndStart, FindsNoBundlesInADirectoryThatDoesNotExist) {
  EXPECT_THAT(installAndStart(path(L"bin/nowhere")), IsEmpty());
}

TEST_F(InstallAndStart, FindsNoBundlesIfThePathIsAFile) {
  tree.add("bin", BUNDLE_ALPHA);
  EXPECT_THAT(installAndStart(path(L"bin/hosttest_alpha.zip")), IsEmpty());
  EXPECT_THAT(installAndStart(path(L"bin/hosttest_alpha.zip/below")), IsEmpty());
}

TEST_F(InstallAndStart, InstallsBundleFilesInTheOrderOfTheirNames) {
  tree.addAs("bin", BUNDLE_ALPHA, "3.zip");
  tree.addAs("bin", BUNDLE_HOOKED, "2.so");
  tree.addAs("bin", BUNDLE_BETA, "1.zip");
  const auto bundles = installAndStart(path(L"bin"));
  EXPECT_THAT(names(bundles), ElementsAre("hosttest_beta", "hosttest_hooked", "hosttest_alpha"));
  for (const Bundle& bundle : bundles) {
    EXPECT_TRUE(isActive(bundle)) << bundle.GetLocation();
  }
}

TEST_F(InstallAndStart, TakesDirectoriesOfAnyLetters) {
  tree.add("bin/m\u00e4rz \u65e5", BUNDLE_ALPHA);
  EXPECT_THAT(names(installAndStart(path(L"bin/m\u00e4rz \u65e5"))), ElementsAre("hosttest_alpha"));
  EXPECT_THROW(installAndStart(path(std::wstring(1, static_cast<wchar_t>(0xd800)))), std::runtime_error);
}

TEST_F(InstallAndStart, IgnoresWhatIsNoBundleFile) {
  tree.add("bin", BUNDLE_ALPHA);
  tree.addAs("bin", BUNDLE_BETA, "beta.txt");
  tree.addAs("bin", BUNDLE_BETA, "beta.zip.1");
  tree.addAs("bin/sub", BUNDLE_BETA, "beta.zip");
  std::filesystem::create_directory(tree.root() / "bin" / "folder.so");
  std::filesystem::create_symlink("nowhere.zip", tree.root() / "bin" / "dangling.zip");
  EXPECT_THAT(names(installAndStart(path(L"bin"))), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, ReturnsTheSameBundlesWhenRepeated) {
  tree.add("bin", BUNDLE_ALPHA);
  tree.add("bin", BUNDLE_HOOKED);
  std::atomic<int> starts{0};
  const hosttest::Hooks hooks([&] { ++starts; });
  const auto first = installAndStart(path(L"bin"));
  EXPECT_EQ(installAndStart(path(L"bin")), first);
  EXPECT_EQ(installAndStart(path(L"./bin/../bin")), first);
  EXPECT_EQ(starts, 1);
}

TEST_F(InstallAndStart, UsesAnAbsoluteDirectoryAsItIs) {
  const hosttest::TestTree elsewhere;
  elsewhere.add("bin", BUNDLE_ALPHA);
  EXPECT_THAT(names(installAndStart(path((elsewhere.root() / "bin").wstring()))), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, ReturnsTheSameBundlesThroughALink) {
  tree.add("bin", BUNDLE_ALPHA);
  std::filesystem::create_directory_symlink("bin", tree.root() / "link");
  const auto first = installAndStart(path(L"bin"));
  EXPECT_EQ(installAndStart(path(L"link")), first);
}

TEST_F(InstallAndStart, ResolvesDotsAgainstTheTargetOfALink) {
  tree.add("elsewhere/bundles", BUNDLE_ALPHA);
  std::filesystem::create_directories(tree.root() / "elsewhere/deep");
  std::filesystem::create_directory_symlink("elsewhere/deep", tree.root() / "link");
  EXPECT_THAT(names(installAndStart(path(L"link/../bundles"))), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, FollowsChainsOfLinksToFiles) {
  const auto target = tree.addAs("elsewhere", BUNDLE_ALPHA, "target");
  std::filesystem::create_directory(tree.root() / "bin");
  std::filesystem::create_symlink(target, tree.root() / "elsewhere/second");
  std::filesystem::create_symlink("../elsewhere/./second", tree.root() / "bin/first.zip");
  const auto bundles = installAndStart(path(L"bin"));
  EXPECT_THAT(names(bundles), ElementsAre("hosttest_alpha"));
  EXPECT_EQ(bundles.at(0).GetLocation(), (tree.root() / "bin/first.zip").native());
}

TEST_F(InstallAndStart, IgnoresBrokenLinksToFiles) {
  tree.add("bin", BUNDLE_ALPHA);
  std::filesystem::create_symlink("loop.zip", tree.root() / "bin/loop.zip");
  std::filesystem::create_symlink("hosttest_alpha.zip/", tree.root() / "bin/slash.zip");
  std::filesystem::create_symlink("hosttest_alpha.zip/below", tree.root() / "bin/below.zip");
  EXPECT_THAT(names(installAndStart(path(L"bin"))), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, LeavesNoDescriptorOpen) {
  tree.add("bin/deep", BUNDLE_ALPHA);
  std::filesystem::create_symlink(tree.add("elsewhere", BUNDLE_BETA), tree.root() / "bin/deep/link.zip");
  const auto descriptors = [] {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    return std::distance(begin(open), end(open));
  };
  installAndStart(path(L"bin/deep"));
  const auto before = descriptors();
  installAndStart(path(L"bin/deep"));
  EXPECT_EQ(descriptors(), before);
}

TEST_F(InstallAndStart, InstallsFilesThatWereAdded) {
  tree.add("bin", BUNDLE_BETA);
  installAndStart(path(L"bin"));
  tree.add("bin", BUNDLE_ALPHA);
  EXPECT_THAT(names(installAndStart(path(L"bin"))), ElementsAre("hosttest_alpha", "hosttest_beta"));
}

TEST_F(InstallAndStart, OmitsFilesThatWereRemoved) {
  const auto file = tree.add("bin", BUNDLE_BETA);
  tree.add("bin", BUNDLE_ALPHA);
  const auto both = installAndStart(path(L"bin"));
  std::filesystem::remove(file);
  EXPECT_THAT(names(installAndStart(path(L"bin"))), ElementsAre("hosttest_alpha"));
  EXPECT_TRUE(isActive(both[1]));
}

TEST_F(InstallAndStart, KeepsTheBundleOfAFileThatWasReplaced) {
  const auto file = tree.addAs("bin", BUNDLE_ALPHA, "some.zip");
  const auto first = installAndStart(path(L"bin"));
  std::filesystem::remove(file);
  tree.addAs("bin", BUNDLE_BETA, "some.zip");
  const auto again = installAndStart(path(L"bin"));
  EXPECT_EQ(again, first);
  EXPECT_THAT(names(again), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, FollowsALinkThatWasReplaced) {
  tree.add("old", BUNDLE_ALPHA);
  tree.add("new", BUNDLE_BETA);
  std::filesystem::create_directory_symlink("old", tree.root() / "link");
  installAndStart(path(L"link"));
  std::filesystem::remove(tree.root() / "link");
  std::filesystem::create_directory_symlink("new", tree.root() / "link");
  EXPECT_THAT(names(installAndStart(path(L"link"))), ElementsAre("hosttest_beta"));
}

TEST_F(InstallAndStart, FindsADirectoryThatReplacedAnotherOne) {
  tree.add("folder/bin", BUNDLE_ALPHA);
  tree.add("other/bin", BUNDLE_BETA);
  installAndStart(path(L"folder/bin"));
  std::filesystem::rename(tree.root() / "folder", tree.root() / "away");
  std::filesystem::rename(tree.root() / "other", tree.root() / "folder");
  EXPECT_THAT(installAndStart(path(L"folder/bin")), SizeIs(1));
  EXPECT_THAT(installAndStart(path(L"other/bin")), IsEmpty());
}

TEST_F(InstallAndStart, FindsNoBundlesInADirectoryThatWasRemoved) {
  tree.add("bin", BUNDLE_ALPHA);
  installAndStart(path(L"bin"));
  std::filesystem::remove_all(tree.root() / "bin");
  EXPECT_THAT(installAndStart(path(L"bin")), IsEmpty());
  tree.add("bin", BUNDLE_BETA);
  EXPECT_THAT(installAndStart(path(L"bin")), SizeIs(1));
}

TEST_F(InstallAndStart, NamesADirectoryThatCannotBeOpened) {
  std::filesystem::create_symlink("loop", tree.root() / "loop");
  EXPECT_THAT(errorOf(L"loop"), HasSubstr((tree.root() / "loop").native()));
  EXPECT_THAT(errorOf(std::wstring(300, L'x')), HasSubstr("xxx"));
}

TEST_F(InstallAndStart, FindsNoBundlesThroughABrokenLink) {
  std::filesystem::create_symlink("nowhere", tree.root() / "link");
  EXPECT_THAT(installAndStart(path(L"link")), IsEmpty());
}

TEST_F(InstallAndStart, ReturnsTheSameBundlesForEverySpelling) {
  tree.add("bin", BUNDLE_ALPHA);
  const auto first = installAndStart(path(L"bin"));
  for (const wchar_t* spelling : {L"bin/", L"bin//", L".//bin", L"bin/.", L"bin/../bin"}) {
    EXPECT_EQ(installAndStart(path(spelling)), first) << std::filesystem::path(spelling);
  }
}

TEST_F(InstallAndStart, ReinstallsUninstalledBundles) {
  tree.add("bin", BUNDLE_ALPHA);
  auto bundles = installAndStart(path(L"bin"));
  bundles[0].Uninstall();
  const auto again = installAndStart(path(L"bin"));
  ASSERT_EQ(again.size(), 1u);
  EXPECT_TRUE(isActive(again[0]));
}

TEST_F(InstallAndStart, RestartsStoppedBundles) {
  tree.add("bin", BUNDLE_ALPHA);
  auto bundles = installAndStart(path(L"bin"));
  bundles[0].Stop();
  installAndStart(path(L"bin"));
  EXPECT_TRUE(isActive(bundles[0]));
}

TEST_F(InstallAndStart, StartsOnlyWhatMatchesAFilter) {
  tree.add("bin", BUNDLE_ALPHA);
  tree.add("bin", BUNDLE_GAMMA);
  tree.add("bin", BUNDLE_HOOKED);
  const auto [installed, started] = installAndStart(path(L"bin"), LDAPFilter("(bundle.activator=false)"));
  EXPECT_THAT(names(installed), ElementsAre("hosttest_alpha", "hosttest_gamma", "hosttest_hooked"));
  EXPECT_THAT(names(started), ElementsAre("hosttest_alpha"));
  EXPECT_TRUE(isActive(installed[0]));
  EXPECT_FALSE(isActive(installed[1]));
  EXPECT_FALSE(isActive(installed[2]));
}

TEST_F(InstallAndStart, MatchesAnyHeaderOfTheManifest) {
  tree.add("bin", BUNDLE_ALPHA);
  tree.add("bin", BUNDLE_BETA);
  EXPECT_THAT(names(installAndStart(path(L"bin"), LDAPFilter("(colour=blue)")).second), ElementsAre("hosttest_beta"));
  EXPECT_THAT(installAndStart(path(L"bin"), LDAPFilter()).second, IsEmpty());
}

TEST_F(InstallAndStart, NamesAFileThatIsNoBundle) {
  const auto file = tree.add("bin", NO_BUNDLE);
  EXPECT_THAT(errorOf(L"bin"), AllOf(HasSubstr("Cannot install bundle file"), HasSubstr(file.native())));
}

TEST_F(InstallAndStart, NamesAnEmptyFile) {
  tree.add("bin", BUNDLE_ALPHA);
  std::ofstream(tree.root() / "bin" / "void.zip").close();
  EXPECT_THAT(errorOf(L"bin"), HasSubstr("void.zip"));
}

TEST_F(InstallAndStart, NamesTheFileAndTheReasonWhenAnActivatorThrows) {
  const auto file = tree.add("bin", BUNDLE_HOOKED);
  const hosttest::Hooks hooks([] { throw std::logic_error("the reason"); });
  EXPECT_THAT(errorOf(L"bin"),
              AllOf(HasSubstr("Cannot start bundle file"), HasSubstr(file.native()), HasSubstr("the reason")));
}

TEST_F(InstallAndStart, SurvivesAnActivatorThatThrowsNoException) {
  const auto file = tree.add("bin", BUNDLE_HOOKED);
  const hosttest::Hooks hooks([] { throw 42; });
  EXPECT_THAT(errorOf(L"bin"), HasSubstr(file.native()));
}

TEST_F(InstallAndStart, RetriesAFailedBundle) {
  tree.add("bin", BUNDLE_HOOKED);
  {
    const hosttest::Hooks hooks([] { throw std::runtime_error("not yet"); });
    EXPECT_NE(errorOf(L"bin"), "");
  }
  const auto bundles = installAndStart(path(L"bin"));
  ASSERT_EQ(bundles.size(), 1u);
  EXPECT_TRUE(isActive(bundles[0]));
}

TEST_F(InstallAndStart, KeepsWhatWasInstalledBeforeAFailure) {
  tree.addAs("bin", BUNDLE_ALPHA, "1.zip");
  const auto bad = tree.addAs("bin", NO_BUNDLE, "2.so");
  EXPECT_NE(errorOf(L"bin"), "");
  std::filesystem::remove(bad);
  EXPECT_THAT(names(installAndStart(path(L"bin"))), ElementsAre("hosttest_alpha"));
}

TEST_F(InstallAndStart, MayBeCalledAgainByAnActivator) {
  tree.add("recursive", BUNDLE_RECURSIVE);
  tree.add("other", BUNDLE_ALPHA);
  const auto bundles = installAndStart(path(L"recursive"));
  ASSERT_THAT(names(bundles), ElementsAre("hosttest_recursive"));
  EXPECT_TRUE(isActive(bundles[0]));
  EXPECT_TRUE(isActive(installAndStart(path(L"other"))[0]));
}

TEST_F(InstallAndStart, SerialisesConcurrentCalls) {
  tree.add("hooked", BUNDLE_HOOKED);
  tree.add("other", BUNDLE_ALPHA);
  spf::test::Gate starting;
  spf::test::Gate mayStart;
  const hosttest::Hooks hooks([&] {
    starting.open();
    EXPECT_TRUE(mayStart.wait());
  });
  std::atomic<bool> passed{false};
  spf::test::Gate ready;
  std::thread first([] { installAndStart(path(L"hooked")); });
  EXPECT_TRUE(starting.wait());
  std::thread second([&] {
    ready.open();
    installAndStart(path(L"other"));
    passed = true;
  });
  EXPECT_TRUE(ready.wait());
  EXPECT_FALSE(passed);
  mayStart.open();
  first.join();
  second.join();
  EXPECT_TRUE(passed);
}

TEST_F(InstallAndStart, StartsABundleOnceForManyThreads) {
  tree.add("hooked", BUNDLE_HOOKED);
  std::atomic<int> starts{0};
  const hosttest::Hooks hooks([&] { ++starts; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([] { EXPECT_EQ(installAndStart(path(L"hooked")).size(), 1u); });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(starts, 1);
}

}  // namespace
