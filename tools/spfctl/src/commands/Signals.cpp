#include "commands/Signals.hpp"

#include <unistd.h>
#include <csignal>

namespace spfctl {

namespace {

// How long withdrawing may take after the first signal; the process has to end within five seconds.
constexpr timespec grace{4, 500000000};

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

}  // namespace

Signals::Signals(Changes& changes) : changes_(changes) {
  auto set = awaited();
  sigaddset(&set, SIGWINCH);
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  thread_ = std::thread([this] { listen(); });
}

Signals::~Signals() {
  pthread_kill(thread_.native_handle(), SIGUSR1);
  thread_.join();
}

void Signals::listen() {
  const auto set = awaited();
  auto alsoResizing = set;
  sigaddset(&alsoResizing, SIGWINCH);
  int signal = 0;
  sigwait(&alsoResizing, &signal);
  while (signal == SIGWINCH) {
    changes_.note();
    sigwait(&alsoResizing, &signal);
  }
  if (signal == SIGUSR1) {
    return;
  }
  received_ = signal;
  changes_.note();
  if (sigtimedwait(&set, nullptr, &grace) != SIGUSR1) {
    _exit(128 + signal);
  }
}

}  // namespace spfctl
