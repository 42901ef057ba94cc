#pragma once

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <pthread.h>

namespace agent::spf::frameworksupport {

/// Starts a thread that blocks all signals, so that the host's own threads handle them and no system call of the
/// framework is interrupted. Signals of faults, such as SIGSEGV, are not blocked.
template <class Function>
std::thread startThread(Function&& function) {
  sigset_t blocked;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
    sigdelset(&blocked, fault);
  }
  // A new thread inherits the mask: it is in force from the beginning.
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
