#pragma once

#include <atomic>
#include <thread>

#include "Changes.hpp"

namespace spfctl {

/// Hears SIGINT, SIGTERM and, unless it is ignored, SIGHUP on a thread of its own, so that they interrupt nothing.
///
/// Has to be made before any other thread, which all inherit that these signals are blocked. The
/// first signal is noted, and the work has some seconds to come to its end; after that, or with a
/// second signal, the process ends at once.
class Signals {
 public:
  explicit Signals(Changes& changes);
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  /// The first signal that came, or 0.
  int received() const { return received_; }

 private:
  void listen();

  Changes& changes_;
  std::atomic<int> received_{0};
  std::thread thread_;
};

}  // namespace spfctl
