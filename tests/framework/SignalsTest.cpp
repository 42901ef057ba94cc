#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <sys/syscall.h>
#include <unistd.h>
#include "spf/test/localHostIsKnown.hpp"
#include "support/TestListener.hpp"

namespace {

namespace filesystem = std::filesystem;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::freePort;

std::set<int> threads() {
  std::set<int> ids;
  for (const auto& entry : filesystem::directory_iterator("/proc/self/task")) {
    ids.insert(std::stoi(entry.path().filename()));
  }
  return ids;
}

/// Returns the kernel's mask of the signals that a thread blocks; all signals if the thread has ended.
std::uint64_t blockedSignals(int thread) {
  std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("SigBlk:", 0) == 0) {
      return std::stoull(line.substr(7), nullptr, 16);
    }
  }
  return ~std::uint64_t{0};
}

bool isBlocked(int thread, int signal) {
  return (blockedSignals(thread) >> (signal - 1) & 1) != 0;
}

class Signals : public frameworktest::TransportFixture {};

TEST_F(Signals, AreBlockedByEveryThreadOfTheFramework) {
  if (!spf::test::localHostIsKnown()) {
    GTEST_SKIP() << spf::test::localHostIsUnknown;
  }
  const char* const names[] = {"spf_zeromq_transport", "spf_controller", "spf_publishers"};
  for (const auto* name : names) {
    framework.bundle(name).Stop();
  }
  const auto before = threads();
  for (const auto* name : names) {
    framework.bundle(name).Start();
  }
  // Starts a thread for look-ups, and ZeroMQ's threads.
  const auto transport = framework.service<Transport>();
  transport->bind({"server", "x", "tcp://localhost:" + freePort()}, server);
  ASSERT_TRUE(server->isOpened.wait());
  int checked = 0;
  for (const int thread : threads()) {
    if (before.count(thread) == 0) {
      ++checked;
      for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD}) {
        EXPECT_TRUE(isBlocked(thread, signal)) << "thread " << thread << ", signal " << signal;
      }
    }
  }
  EXPECT_GE(checked, 5);
}

TEST_F(Signals, InGreatNumbersCloseNoEndpoint) {
  struct sigaction action {};
  action.sa_handler = [](int) {};  // no SA_RESTART: calls are interrupted
  sigaction(SIGUSR1, &action, nullptr);
  std::atomic<bool> ended{false};
  std::thread storm([&] {
    const auto process = getpid();
    while (!ended) {
      for (const int thread : threads()) {
        syscall(SYS_tgkill, process, thread, SIGUSR1);
      }
    }
  });
  connectPair();
  for (int i = 0; i < 100; ++i) {
    const auto listener = newListener();
    const auto id = bound(freeAddress(), listener);
    EXPECT_EQ(ask("question"), "answer to question");
    close(id, listener);
  }
  ended = true;
  storm.join();
  // Not the default action: a signal may still be on its way to a thread that has not run since.
  std::signal(SIGUSR1, SIG_IGN);
  EXPECT_FALSE(server->isClosed.isOpen());
  EXPECT_FALSE(client->isClosed.isOpen());
}

}  // namespace
