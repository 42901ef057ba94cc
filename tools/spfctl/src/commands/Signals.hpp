#pragma once

#include <atomic>
#include <thread>

#include "commands/Changes.hpp"

namespace spfctl {

/// Receives SIGINT, SIGTERM and, unless it is ignored, SIGHUP on a thread of its own, so that they
/// interrupt nothing. A change of the terminal's size (SIGWINCH) is noted, too. In a process without a controlling
/// terminal SIGHUP is a request to reload, and ends nothing.
///
/// Construct before starting threads, so that all of them inherit the mask that blocks these signals.
/// The first signal is noted, and the work has some seconds to finish; after that, or at a second
/// signal, the process ends at once.
class Signals {
 public:
  explicit Signals(Changes& changes);
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// Returns the first signal that arrived, or 0.
  int received() const { return received_; }

  /// Returns how many requests to reload have arrived.
  unsigned reloads() const { return reloads_; }

 private:
  bool isReload(int signal);
  int next();
  void listen();

  Changes& changes_;
  const bool mayReload_;
  std::atomic<int> received_{0};
  std::atomic<unsigned> reloads_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

}  // namespace spfctl
