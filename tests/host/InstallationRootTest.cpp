#include <filesystem>

#include "TestTree.hpp"

namespace {

namespace fs = std::filesystem;
using agent::host::services::Host;
using agent::host::services::installAndStart;
using hosttest::path;
using testing::HasSubstr;

/// Changes the current directory, and restores it at its destruction.
class CurrentDirectory {
 public:
  explicit CurrentDirectory(const fs::path& now) { fs::current_path(now); }
  ~CurrentDirectory() {
    std::error_code ignored;
    fs::current_path(before_, ignored);
  }
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;

 private:
  const fs::path before_ = fs::current_path();
};

/// A root named "later" in the current directory, in several spellings.
class AnInstallationRoot : public testing::TestWithParam<const char*> {
 protected:
  AnInstallationRoot() {
    const std::string spelling = GetParam();
    options.installationRoot = spelling[0] == '/' ? fs::path(tree.root().native() + spelling) : fs::path(spelling);
  }

  const hosttest::TestTree tree;
  const CurrentDirectory currentDirectory{tree.root()};
  const fs::path root = tree.root() / "later";
  agent::host::services::HostOptions options;
};

INSTANTIATE_TEST_SUITE_P(Spelled, AnInstallationRoot,
                         testing::Values("later", "later/", "./later/.", "/later", "/later/", "/later//",
                                         "/nowhere/../later/"));

TEST_P(AnInstallationRoot, IsAbsoluteAndNormalBeforeItExists) {
  const Host host(options);
  EXPECT_EQ(host.installationRoot().native(), root.native());
}

TEST_P(AnInstallationRoot, IsAbsoluteAndNormalWhenItExists) {
  fs::create_directory(root);
  fs::create_directory(tree.root() / "nowhere");
  const Host host(options);
  EXPECT_EQ(host.installationRoot().native(), root.native());
}

TEST_P(AnInstallationRoot, HasItsFoldersCheckedWhenItIsCreatedLater) {
  const Host host(options);
  tree.add("later/bin/spf", BUNDLE_ALPHA);
  EXPECT_EQ(installAndStart(path(L"bin/spf")).size(), 1u);
  fs::permissions(root / "bin", fs::perms::others_write, fs::perm_options::add);
  try {
    installAndStart(path(L"bin/spf"));
    FAIL() << "was not refused";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("others may write the folder '" + (root / "bin").native() + "'"));
  }
}

TEST(TheTopmostInstallationRoot, KeepsItsOnlySeparator) {
  agent::host::services::HostOptions options;
  options.installationRoot = "/";
  options.permissionCheck = false;
  const Host host(options);
  EXPECT_EQ(host.installationRoot().native(), "/");
}

}  // namespace
