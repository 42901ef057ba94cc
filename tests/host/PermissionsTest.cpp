#include <filesystem>

#include <cppmicroservices/Bundle.h>
#include "TestTree.hpp"

namespace {

namespace fs = std::filesystem;
using agent::host::services::Host;
using agent::host::services::installAndStart;
using hosttest::path;
using testing::AllOf;
using testing::HasSubstr;

class BundleFilesThatOthersMayWrite : public testing::Test {
 protected:
  void allowWriting(const fs::path& where, fs::perms who = fs::perms::others_write) {
    fs::permissions(where, who, fs::perm_options::add);
  }

  std::string errorOfInstalling(const std::wstring& directory = L"bin/spf") {
    const Host host(options);
    try {
      installAndStart(path(directory));
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const hosttest::TestTree tree;
  const fs::path file = tree.add("bin/spf", BUNDLE_ALPHA);
  agent::host::services::HostOptions options = tree.options();
};

TEST_F(BundleFilesThatOthersMayWrite, AreRefused) {
  allowWriting(file);
  EXPECT_THAT(errorOfInstalling(), AllOf(HasSubstr(file.native()), HasSubstr("others may write the file")));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForTheirFolder) {
  allowWriting(tree.root() / "bin/spf");
  EXPECT_THAT(errorOfInstalling(),
              AllOf(HasSubstr(file.native()), HasSubstr((tree.root() / "bin/spf").native() + "'")));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForAFolderFurtherUp) {
  allowWriting(tree.root() / "bin");
  EXPECT_THAT(errorOfInstalling(), HasSubstr("folder '" + (tree.root() / "bin").native() + "'"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForTheRoot) {
  allowWriting(tree.root());
  EXPECT_THAT(errorOfInstalling(), HasSubstr("folder '" + tree.root().native() + "'"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedEvenIfTheFolderIsSticky) {
  allowWriting(tree.root() / "bin", fs::perms::others_write | fs::perms::sticky_bit);
  EXPECT_THAT(errorOfInstalling(), HasSubstr("others may write the folder"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedThroughALink) {
  const auto target = tree.add("elsewhere", BUNDLE_BETA);
  fs::create_symlink(target, tree.root() / "bin/spf/beta.zip");
  allowWriting(tree.root() / "elsewhere");
  EXPECT_THAT(errorOfInstalling(), HasSubstr((tree.root() / "elsewhere").native()));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedOutsideTheRoot) {
  const hosttest::TestTree outside;
  outside.add("bundles", BUNDLE_BETA);
  allowWriting(outside.root() / "bundles");
  EXPECT_THAT(errorOfInstalling((outside.root() / "bundles").wstring()), HasSubstr("others may write the folder"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedAfterTheyWereInstalled) {
  const Host host(options);
  installAndStart(path(L"bin/spf"));
  allowWriting(file);
  EXPECT_THROW(installAndStart(path(L"bin/spf")), std::runtime_error);
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForAFolderThatBecameWritableLater) {
  const Host host(options);
  installAndStart(path(L"bin/spf"));
  allowWriting(tree.root() / "bin");
  EXPECT_THROW(installAndStart(path(L"bin/spf")), std::runtime_error);
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedWhenAFolderIsReplacedByALink) {
  const Host host(options);
  installAndStart(path(L"bin/spf"));
  fs::create_directory(tree.root() / "shared");
  allowWriting(tree.root() / "shared");
  fs::rename(tree.root() / "bin", tree.root() / "shared/bin");
  fs::create_directory_symlink("shared/bin", tree.root() / "bin");
  EXPECT_THROW(installAndStart(path(L"bin/spf")), std::runtime_error);
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForTheFolderOfALinkToTheirs) {
  fs::create_directory(tree.root() / "shared");
  fs::create_directory_symlink(tree.root() / "bin/spf", tree.root() / "shared/link");
  allowWriting(tree.root() / "shared");
  EXPECT_THAT(errorOfInstalling(L"shared/link"), HasSubstr("folder '" + (tree.root() / "shared").native() + "'"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedForTheFolderOfEveryLink) {
  fs::create_directory(tree.root() / "shared");
  fs::create_symlink(tree.add("elsewhere", BUNDLE_BETA), tree.root() / "shared/beta.zip");
  fs::create_symlink("../../shared/beta.zip", tree.root() / "bin/spf/beta.zip");
  EXPECT_EQ(errorOfInstalling(), "");
  allowWriting(tree.root() / "shared");
  EXPECT_THAT(errorOfInstalling(), HasSubstr("folder '" + (tree.root() / "shared").native() + "'"));
}

TEST_F(BundleFilesThatOthersMayWrite, AreAcceptedWhenTheCheckIsOff) {
  allowWriting(file);
  allowWriting(tree.root());
  options.permissionCheck = false;
  EXPECT_EQ(errorOfInstalling(), "");
}

TEST_F(BundleFilesThatOthersMayWrite, AreAcceptedIfOnlyTheGroupMayWriteThem) {
  allowWriting(file, fs::perms::group_write);
  allowWriting(tree.root() / "bin", fs::perms::group_write);
  EXPECT_EQ(errorOfInstalling(), "");
}

TEST_F(BundleFilesThatOthersMayWrite, AreAcceptedBelowAStickyFolderAboveTheRoot) {
  allowWriting(tree.root() / "bin", fs::perms::others_write | fs::perms::sticky_bit);
  options.installationRoot = tree.root() / "bin/spf";
  EXPECT_EQ(errorOfInstalling(L"."), "");
}

TEST_F(BundleFilesThatOthersMayWrite, AreRefusedBelowANonStickyFolderAboveTheRoot) {
  allowWriting(tree.root() / "bin");
  options.installationRoot = tree.root() / "bin/spf";
  EXPECT_THAT(errorOfInstalling(L"."), HasSubstr("folder '" + (tree.root() / "bin").native() + "'"));
}

/// Bundle files in directories outside of the installation root.
class BundleFilesOutsideTheRoot : public BundleFilesThatOthersMayWrite {
 protected:
  std::string errorOfInstallingOutside(const std::string& directory) {
    return errorOfInstalling((outside.root() / directory).wstring());
  }

  const hosttest::TestTree outside;
  const fs::path bundle = outside.add("shared/bundles", BUNDLE_BETA);
  const fs::path shared = outside.root() / "shared";
};

TEST_F(BundleFilesOutsideTheRoot, AreAcceptedBelowAStickyFolder) {
  allowWriting(shared, fs::perms::others_write | fs::perms::sticky_bit);
  EXPECT_EQ(errorOfInstallingOutside("shared/bundles"), "");
}

TEST_F(BundleFilesOutsideTheRoot, AreRefusedDirectlyInAStickyFolder) {
  allowWriting(bundle.parent_path(), fs::perms::others_write | fs::perms::sticky_bit);
  EXPECT_THAT(errorOfInstallingOutside("shared/bundles"), HasSubstr("folder '" + bundle.parent_path().native() + "'"));
}

TEST_F(BundleFilesOutsideTheRoot, AreRefusedBelowANonStickyFolder) {
  allowWriting(shared);
  EXPECT_THAT(errorOfInstallingOutside("shared/bundles"), HasSubstr("folder '" + shared.native() + "'"));
}

TEST_F(BundleFilesOutsideTheRoot, AreRefusedBehindALinkThatOthersMayReplace) {
  outside.add("own", BUNDLE_ALPHA);
  fs::create_directory_symlink("../own", shared / "link");
  EXPECT_EQ(errorOfInstallingOutside("shared/link"), "");
  allowWriting(shared);
  EXPECT_THAT(errorOfInstallingOutside("shared/link"), HasSubstr("folder '" + shared.native() + "'"));
}

TEST_F(BundleFilesOutsideTheRoot, AreRefusedBehindALinkIntoAFolderThatOthersMayWrite) {
  fs::create_symlink(bundle, tree.root() / "bin/spf/beta.zip");
  EXPECT_EQ(errorOfInstalling(), "");
  allowWriting(shared);
  EXPECT_THAT(errorOfInstalling(), AllOf(HasSubstr((tree.root() / "bin/spf/beta.zip").native()),
                                         HasSubstr("folder '" + shared.native() + "'")));
}

TEST_F(BundleFilesOutsideTheRoot, AreAcceptedIfAWritableFolderIsOnlyPassed) {
  allowWriting(shared);
  outside.add("own", BUNDLE_ALPHA);
  EXPECT_EQ(errorOfInstallingOutside("shared/../own"), "");
}

}  // namespace
