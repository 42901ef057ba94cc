#include <filesystem>

#include <dlfcn.h>
#include "TestTree.hpp"

namespace {

namespace fs = std::filesystem;
using agent::host::services::Host;
using testing::AllOf;
using testing::HasSubstr;

/// Returns whether the process has loaded a library, without loading it.
bool isLoaded(const fs::path& library) {
  void* const handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (handle != nullptr) {
    dlclose(handle);
  }
  return handle != nullptr;
}

/// A library in the folder of the Configuration Admin bundle, which the host loads before it.
class TheCompanionOfConfigurationAdmin : public testing::Test {
 protected:
  TheCompanionOfConfigurationAdmin() { options.configurationAdminBundle = bundle; }

  void allowWriting(const fs::path& where) { fs::permissions(where, fs::perms::others_write, fs::perm_options::add); }

  std::string errorOfStarting() {
    try {
      const Host host(options);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  const hosttest::TestTree tree;
  const fs::path folder = tree.root() / "bin/lib";
  const fs::path bundle = tree.add("bin/lib", BUNDLE_ALPHA);
  const fs::path companion = tree.addAs("bin/lib", BUNDLE_HOOKED, "libusAsyncWorkService.so");
  agent::host::services::HostOptions options = tree.options();
};

TEST_F(TheCompanionOfConfigurationAdmin, IsLoaded) {
  EXPECT_EQ(errorOfStarting(), "");
  EXPECT_TRUE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsRefusedWhenOthersMayWriteIt) {
  allowWriting(companion);
  EXPECT_THAT(errorOfStarting(), AllOf(HasSubstr(companion.native()), HasSubstr("others may write the file")));
  EXPECT_FALSE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsNotLoadedFromAFolderThatOthersMayWrite) {
  allowWriting(folder);
  EXPECT_THAT(errorOfStarting(), HasSubstr("others may write the folder '" + folder.native() + "'"));
  EXPECT_FALSE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsNotLoadedFromBelowAFolderThatOthersMayWrite) {
  allowWriting(folder.parent_path());
  EXPECT_THAT(errorOfStarting(), HasSubstr("folder '" + folder.parent_path().native() + "'"));
  EXPECT_FALSE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsNotLoadedForABundleThatOthersMayWrite) {
  allowWriting(bundle);
  EXPECT_THAT(errorOfStarting(), AllOf(HasSubstr(bundle.native()), HasSubstr("others may write the file")));
  EXPECT_FALSE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsNotLoadedForABundleThatDoesNotExist) {
  options.configurationAdminBundle = folder / "nowhere.so";
  EXPECT_THAT(errorOfStarting(), HasSubstr((folder / "nowhere.so").native()));
  EXPECT_FALSE(isLoaded(companion));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsRefusedThroughALinkIntoAFolderThatOthersMayWrite) {
  const auto target = tree.addAs("elsewhere", BUNDLE_HOOKED, "target.so");
  fs::remove(companion);
  fs::create_symlink(target, companion);
  allowWriting(target.parent_path());
  EXPECT_THAT(errorOfStarting(), HasSubstr("folder '" + target.parent_path().native() + "'"));
  EXPECT_FALSE(isLoaded(target));
}

TEST_F(TheCompanionOfConfigurationAdmin, IsLoadedFromAnywhereWhenTheCheckIsOff) {
  allowWriting(companion);
  allowWriting(folder);
  options.permissionCheck = false;
  EXPECT_EQ(errorOfStarting(), "");
  EXPECT_TRUE(isLoaded(companion));
}

}  // namespace
