#pragma once

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>

namespace agent::spf::frameworksupport {

/// Starts a thread that no signal is delivered to: the host's own threads handle those, and none of
/// the framework's calls is interrupted. Signals that a thread raises by a fault of its own stay as they are.
template <class Function>
std::thread startThread(Function&& function) {
  sigset_t blocked;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&blocked, fault);
  }
  // A new thread inherits the mask, so that there is no moment without it.
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  try {
    std::thread thread(std::forward<Function>(function));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread;
  } catch (...) {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    throw;
  }
}

}  // namespace agent::spf::frameworksupport
