#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using testing::UnorderedElementsAre;

class Keygen : public testing::Test {
 protected:
  std::string path(const std::string& file) const { return (workspace_.path() / file).native(); }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(workspace_.path())) {
      names.push_back(entry.path().filename().native());
    }
    return names;
  }

  // The line of a file that is no comment.
  std::string key(const std::string& file) const {
    std::ifstream stream(path(file));
    std::string line;
    std::getline(stream, line);
    EXPECT_EQ(line.rfind("# ", 0), 0u) << line;
    std::getline(stream, line);
    return line;
  }

  std::vector<std::string> keygen(const std::string& name) const {
    return {SPFCTL, "keygen", name, "--folder", workspace_.path().native()};
  }

  const Workspace workspace_;
};

TEST_F(Keygen, PrintsWhereTheKeysAreAndThePublicOne) {
  Process process(keygen("station"));
  EXPECT_EQ(process.wait(), 0);
  EXPECT_EQ(process.err(), "");
  EXPECT_EQ(process.out(),
            "secret  " + path("station.key") + "\npublic  " + path("station.pub") + "  " + key("station.pub") + "\n");
  EXPECT_EQ(key("station.pub").size(), 40u);
  EXPECT_EQ(key("station.key").size(), 40u);
  EXPECT_EQ(process.out().find(key("station.key")), std::string::npos);
  EXPECT_THAT(files(), UnorderedElementsAre("station.key", "station.pub"));
}

TEST_F(Keygen, WritesToTheCurrentFolder) {
  Process process({"/bin/sh", "-c", "cd \"$1\" && exec \"$2\" keygen station", "sh", workspace_.path(), SPFCTL});
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(process.out(), "secret  station.key\npublic  station.pub  " + key("station.pub") + "\n");
}

TEST_F(Keygen, ReplacesNoKeys) {
  Process first(keygen("station"));
  ASSERT_EQ(first.wait(), 0) << first.err();
  const auto secret = key("station.key");
  Process process(keygen("station"));
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.out(), "");
  EXPECT_EQ(process.err(),
            "spfctl keygen: " + path("station.key") + ": exists already; expected another name or folder\n");
  EXPECT_EQ(key("station.key"), secret);
}

// In a file system of the test's own, with a page that a file fills.
TEST_F(Keygen, LeavesNothingBehindOnAFullDisk) {
  const std::string mount = "mount -t tmpfs -o size=4k tmpfs \"$1\"";
  Process possible({"/usr/bin/unshare", "-rm", "/bin/sh", "-c", mount, "sh", workspace_.path()});
  if (possible.wait() != 0) {
    GTEST_SKIP() << "this machine mounts no file system for a test: " << possible.err();
  }
  Process process({"/usr/bin/unshare", "-rm", "/bin/sh", "-c",
                   mount + " && head -c 4096 /dev/zero > \"$1/full\" && { \"$2\" keygen station --folder \"$1\"; "
                           "code=$?; ls -A \"$1\"; exit $code; }",
                   "sh", workspace_.path(), SPFCTL});
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.out(), "full\n");
  EXPECT_EQ(process.err(), "spfctl keygen: " + path("station.key") + ": cannot be written: No space left on device\n");
}

TEST_F(Keygen, FailsIfThePublicKeyCannotBePrinted) {
  Process process(
      {"/bin/sh", "-c", "\"$1\" keygen station --folder \"$2\" > /dev/full; exit $?", "sh", SPFCTL, workspace_.path()});
  EXPECT_EQ(process.wait(), 1);
  EXPECT_EQ(process.err(), "spfctl: standard output cannot be written\n");
}

}  // namespace spf::test
