#include "commands/Signals.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace spfctl {

namespace {

// How long withdrawing may take after the first signal; the process has to end within five seconds.
constexpr std::chrono::milliseconds grace{4500};

sigset_t awaited() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGUSR1);  // ends the thread
  // The terminal was closed. Under nohup this signal is ignored, but a blocked signal is delivered all the same.
  struct sigaction hangUp {};
  if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
    sigaddset(&set, SIGHUP);
  }
  return set;
}

// SIGHUP says that the terminal was closed, if there is one.
bool hasControllingTerminal() {
  const int terminal = open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) {
    return false;
  }
  close(terminal);
  return true;
}

}  // namespace

Signals::Signals(Changes& changes) : changes_(changes), mayReload_(!hasControllingTerminal()) {
  auto set = awaited();
  sigaddset(&set, SIGWINCH);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  thread_ = std::thread([this] { listen(); });
}

Signals::~Signals() {
  stopping_ = true;
  pthread_kill(thread_.native_handle(), SIGUSR1);
  thread_.join();
}

// Returns the next signal that ends the process, or SIGUSR1 when this object is destroyed.
int Signals::next() {
  auto set = awaited();
  sigaddset(&set, SIGWINCH);
  for (;;) {
    int signal = 0;
    sigwait(&set, &signal);
    if (signal == SIGWINCH) {
      changes_.note();
    } else if (isReload(signal)) {
      ++reloads_;
      changes_.note();
    } else if (signal != SIGUSR1 || stopping_) {
      return signal;
    }
  }
}

bool Signals::isReload(int signal) {
  return signal == SIGHUP && mayReload_;
}

void Signals::listen() {
  const int signal = next();
  if (signal == SIGUSR1) {
    return;
  }
  received_ = signal;
  changes_.note();
  const auto deadline = std::chrono::steady_clock::now() + grace;
  for (const auto set = awaited();;) {
    const auto left = std::max(std::chrono::nanoseconds::zero(),
                               std::chrono::nanoseconds(deadline - std::chrono::steady_clock::now()));
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec time{seconds.count(), (left - seconds).count()};
    const int another = sigtimedwait(&set, nullptr, &time);
    if (another == SIGUSR1 && stopping_) {
      return;
    }
    // A process that was stopped and continued is interrupted here, and a stranger may send anything.
    const bool isInterrupted = (another < 0 && errno == EINTR) || another == SIGUSR1 || isReload(another);
    if (!isInterrupted) {
      _exit(128 + signal);
    }
  }
}

}  // namespace spfctl
