#include "control/ControlFolder.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "control/ControlError.hpp"
#include "support/NotificationSocket.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using spfctl::ControlError;
using spfctl::ControlFolder;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
namespace filesystem = std::filesystem;

namespace {

constexpr auto serve = ControlFolder::Purpose::serve;
constexpr auto ask = ControlFolder::Purpose::ask;

class AControlFolder : public testing::Test {
 protected:
  std::string refusal(const filesystem::path& path, ControlFolder::Purpose purpose = serve) const {
    try {
      const ControlFolder sut(path, purpose);
    } catch (const ControlError& error) {
      EXPECT_THAT(error.what(), HasSubstr("control folder '"));
      return error.what();
    }
    return "accepted";
  }

  const Workspace workspace_;
  const filesystem::path path_ = workspace_.path() / "hosts";
};

}  // namespace

TEST_F(AControlFolder, IsByDefaultInTheFolderOfTheUsersRuntime) {
  const EnvironmentVariable runtime("XDG_RUNTIME_DIR", workspace_.path().string());
  EXPECT_EQ(ControlFolder::standard(), workspace_.path() / "spfctl");
  EXPECT_EQ(ControlFolder({}, serve).path(), workspace_.path() / "spfctl");
}

TEST_F(AControlFolder, IsByDefaultAPlaceOfTheUsersOwnWithoutAFolderOfTheRuntime) {
  const auto expected = geteuid() == 0 ? "/run/spfctl" : "/tmp/spfctl-" + std::to_string(geteuid());
  {
    const EnvironmentVariable absent("XDG_RUNTIME_DIR");
    EXPECT_EQ(ControlFolder::standard(), expected);
  }
  for (const auto* useless : {"", "relative/folder"}) {
    const EnvironmentVariable variable("XDG_RUNTIME_DIR", useless);
    EXPECT_EQ(ControlFolder::standard(), expected);
  }
}

TEST_F(AControlFolder, IsCreatedForAHostAndForItsUserAlone) {
  const ControlFolder sut(path_, serve);
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFDIR | S_IRWXU);
  EXPECT_EQ(refusal(path_), "accepted") << "it is there already";
}

TEST_F(AControlFolder, IsNotCreatedForAClientAndHoldsNoHostThen) {
  const ControlFolder sut(path_, ask);
  EXPECT_THAT(sut.hosts(), IsEmpty());
  EXPECT_FALSE(exists(path_));
}

TEST_F(AControlFolder, CannotBeCreatedInAFolderThatIsMissing) {
  EXPECT_THAT(refusal(path_ / "deeper"), EndsWith("': cannot be created: No such file or directory"));
}

TEST_F(AControlFolder, IsRefusedBelowAFile) {
  workspace_.write("hosts", "");
  EXPECT_THAT(refusal(path_ / "deeper"), HasSubstr("Not a directory"));
  EXPECT_THAT(refusal(path_ / "deeper", ask), EndsWith("': cannot be entered: Not a directory"));
}

TEST_F(AControlFolder, IsRefusedIfItIsAFile) {
  workspace_.write("hosts", "");
  EXPECT_THAT(refusal(path_), EndsWith("': is no folder"));
  EXPECT_THAT(refusal(path_, ask), EndsWith("': is no folder"));
}

TEST_F(AControlFolder, IsRefusedIfItIsASymbolicLink) {
  const auto link = workspace_.path() / "link";
  const ControlFolder folder(path_, serve);
  create_directory_symlink(path_, link);
  EXPECT_THAT(refusal(link), EndsWith("': is no folder"));
  EXPECT_THAT(refusal(link.string() + "/"), EndsWith("': is no folder"));
  EXPECT_THAT(refusal(link.string() + "/", ask), EndsWith("': is no folder"));
}

TEST_F(AControlFolder, MayHaveASlashAtItsEnd) {
  EXPECT_EQ(ControlFolder(path_.string() + "/", serve).path(), path_);
  EXPECT_THAT(refusal("/", ask), EndsWith("': may be entered by others; expected the permissions 0700"));
}

TEST_F(AControlFolder, IsRefusedIfTheGroupOrOthersHaveAnyPermission) {
  filesystem::create_directory(path_);
  for (const mode_t mode : {0710u, 0701u, 0740u, 0704u, 0720u, 0702u, 0777u}) {
    ASSERT_EQ(chmod(path_.c_str(), mode), 0);
    for (const auto purpose : {serve, ask}) {
      EXPECT_THAT(refusal(path_, purpose), EndsWith("': may be entered by others; expected the permissions 0700"));
    }
  }
}

TEST_F(AControlFolder, OfAnotherUserIsRefusedForAHostAndOpenToRootAsAClient) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a folder to another user";
  }
  const ControlFolder folder(path_, serve);
  ASSERT_EQ(chown(path_.c_str(), 65534, 65534), 0);
  EXPECT_THAT(refusal(path_), EndsWith("': belongs to user 65534; expected user 0"));
  EXPECT_EQ(refusal(path_, ask), "accepted");
}

TEST_F(AControlFolder, ListsTheHostsThatHaveSocketAndLockInTheirOrder) {
  const ControlFolder sut(path_, serve);
  for (const auto* name : {"b.sock", "b.lock", "a.b.sock", "a.b.lock", "noLock.sock", "noSocket.lock", ".c.new",
                           ".hidden.sock", ".hidden.lock", "no name.sock", "no name.lock", "other.txt"}) {
    workspace_.write("hosts/" + std::string(name), "");
  }
  EXPECT_THAT(sut.hosts(), ElementsAre("a.b", "b"));
}

TEST_F(AControlFolder, ThatHasBecomeAFileCannotBeRead) {
  const ControlFolder sut(path_, serve);
  filesystem::remove(path_);
  workspace_.write("hosts", "");
  EXPECT_THROW((void)sut.hosts(), ControlError);
}

}  // namespace spf::test
