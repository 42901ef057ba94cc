#include "control/HostLock.hpp"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <string>

#include "control/ControlError.hpp"
#include "control/WrappedCalls.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using spfctl::ControlError;
using spfctl::ControlFolder;
using spfctl::HostLock;
using testing::HasSubstr;

namespace {

class ALockOfAHost : public testing::Test {
 protected:
  ~ALockOfAHost() override { onFlock = nullptr; }

  std::string refusal() const {
    try {
      const HostLock sut(folder_, "h");
    } catch (const ControlError& error) {
      return error.what();
    }
    return "locked";
  }

  const Workspace workspace_;
  const ControlFolder folder_{workspace_.path() / "hosts", ControlFolder::Purpose::serve};
  const std::filesystem::path file_ = folder_.lockOf("h");
};

}  // namespace

TEST_F(ALockOfAHost, HoldsTheNumberOfItsProcess) {
  const HostLock sut(folder_, "h");
  std::string text;
  std::ifstream(file_) >> text;
  EXPECT_EQ(text, std::to_string(getpid()));
}

TEST_F(ALockOfAHost, LetsNoOtherHostHaveTheNameAndSaysWhichProcessHasIt) {
  const HostLock sut(folder_, "h");
  EXPECT_EQ(refusal(),
            "a host named 'h' runs already: process " + std::to_string(getpid()) + "; expected another --name");
  EXPECT_TRUE(exists(file_));
}

TEST_F(ALockOfAHost, OfAProcessThatHasNotWrittenItsNumberIsThatOfAnotherProcess) {
  const int holder = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(refusal(), "a host named 'h' runs already: another process; expected another --name");
  close(holder);
}

TEST_F(ALockOfAHost, LeavesOtherNamesFree) {
  const HostLock sut(folder_, "h");
  EXPECT_NO_THROW(HostLock(folder_, "i"));
}

TEST_F(ALockOfAHost, IsTakenOverFromAProcessThatWasKilled) {
  workspace_.write("hosts/h.lock", "a number that is longer than the new one");
  const HostLock sut(folder_, "h");
  std::string text;
  std::getline(std::ifstream(file_), text);
  EXPECT_EQ(text, std::to_string(getpid()));
}

TEST_F(ALockOfAHost, IsReleasedAndDeletedAtItsEnd) {
  { const HostLock sut(folder_, "h"); }
  EXPECT_FALSE(exists(file_));
  EXPECT_EQ(refusal(), "locked");
}

TEST_F(ALockOfAHost, IsTakenAfterAHostThatEndsBetweenOpeningAndLocking) {
  auto ending = std::make_unique<HostLock>(folder_, "h");
  onFlock = [&] { ending.reset(); };
  const HostLock sut(folder_, "h");
  EXPECT_TRUE(exists(file_));
  onFlock = nullptr;
  EXPECT_THAT(refusal(), HasSubstr("runs already"));
}

TEST_F(ALockOfAHost, IsTakenFromAHostThatHasDeletedTheFileAndNotYetReleasedIt) {
  auto holder = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
  onFlock = [&] {
    unlink(file_.c_str());
    onFlock = nullptr;
  };
  EXPECT_EQ(refusal(), "locked");
  close(holder);
}

TEST_F(ALockOfAHost, IsNoSymbolicLink) {
  const auto target = workspace_.write("target", "kept");
  create_symlink(target, file_);
  EXPECT_EQ(refusal(), "lock '" + file_.string() + "': Too many levels of symbolic links");
  std::string text;
  std::ifstream(target) >> text;
  EXPECT_EQ(text, "kept");
}

TEST_F(ALockOfAHost, IsNotInheritedByAChildProcess) {
  auto sut = std::make_unique<HostLock>(folder_, "h");
  pid_t child = 0;
  const char* const arguments[] = {"sleep", "1000", nullptr};
  ASSERT_EQ(posix_spawnp(&child, "sleep", nullptr, nullptr, const_cast<char**>(arguments), environ), 0);
  // The file stays, so that the same file is locked again.
  const auto link = workspace_.path() / "hosts/copy";
  create_hard_link(file_, link);
  sut.reset();
  rename(link, file_);
  EXPECT_EQ(refusal(), "locked");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

}  // namespace spf::test
