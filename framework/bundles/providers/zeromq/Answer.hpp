#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

namespace spf::zeromq {

/// The outcome of one request, waited for by the thread that asks and set by the one that receives.
class Answer {
 public:
  /// Only the first outcome counts.
  void succeed(std::string text) { set({true, std::move(text)}); }
  void fail(std::string reason) { set({false, std::move(reason)}); }

  /// \return the peer's text
  /// \throws std::runtime_error with the reason, or "no answer within ..." when the time is over
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
