#include "commands/Signals.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "spf/test/Gate.hpp"

namespace spf::test {

namespace {

// Opens a pseudo-terminal, which becomes that of this process's session if that has none. \return -1 if none can be
// opened on this machine
int openTerminal() {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  const bool isOpen = master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0;
  return isOpen ? open(ptsname(master), O_RDWR | O_NOCTTY) : -1;
}

// Sends SIGHUP to this process, and ends it: with 1 after a request to reload, with 2 after a signal to end.
[[noreturn]] void hangUp() {
  spfctl::Changes changes;
  const spfctl::Signals sut(changes);
  kill(getpid(), SIGHUP);
  changes.waitForMoreThan(0, std::chrono::steady_clock::now() + patience);
  _exit(sut.reloads() == 1 && sut.received() == 0 ? 1 : sut.received() == SIGHUP && sut.reloads() == 0 ? 2 : 3);
}

void hangUpWithoutATerminal() {
  setsid();
  hangUp();
}

void hangUpOnATerminal() {
  setsid();
  if (ioctl(openTerminal(), TIOCSCTTY, 0) != 0) {
    _exit(4);
  }
  hangUp();
}

}  // namespace

TEST(AHangUpDeathTest, IsARequestToReloadWithoutAControllingTerminal) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(hangUpWithoutATerminal(), testing::ExitedWithCode(1), "");
}

TEST(AHangUpDeathTest, EndsAProcessThatHasAControllingTerminal) {
  if (openTerminal() < 0) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here";
  }
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(hangUpOnATerminal(), testing::ExitedWithCode(2), "");
}

}  // namespace spf::test
