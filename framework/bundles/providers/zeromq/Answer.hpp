#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace spf::zeromq {

/// The outcome of one request. The requesting thread waits for it, the receiving thread sets it.
class Answer {
 public:
  /// Sets the peer's text. Has no effect if an outcome is set already.
  void succeed(std::string text) { set({true, std::move(text)}); }

  /// Sets the reason of a failure. Has no effect if an outcome is set already.
  void fail(std::string reason) { set({false, std::move(reason)}); }

  /// Blocks until the outcome is set, and returns the peer's text.
  /// \throws std::runtime_error with the reason of a failure, or "no answer within ..." after the time-out
  std::string waitFor(std::chrono::milliseconds timeout);

 private:
  struct Outcome {
    bool good;
    std::string text;
  };

  void set(Outcome outcome);

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::optional<Outcome> outcome_;
};

}  // namespace spf::zeromq
