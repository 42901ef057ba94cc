#include "Answer.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace spf::zeromq {

namespace {

/// Longer than anybody waits, and far from where the clock's arithmetic overflows.
constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);

}  // namespace

std::string Answer::waitFor(std::chrono::milliseconds timeout) {
  const auto limit = std::clamp(timeout, std::chrono::milliseconds::zero(), longest);
  const auto deadline = std::chrono::steady_clock::now() + limit;
  std::unique_lock<std::mutex> lock(mutex_);
  if (!changed_.wait_until(lock, deadline, [this] { return outcome_.has_value(); })) {
    throw std::runtime_error("no answer within " + std::to_string(limit.count()) + " ms");
  }
  if (!outcome_->good) {
    throw std::runtime_error(outcome_->text);
  }
  return outcome_->text;
}

void Answer::set(Outcome outcome) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (outcome_) {
      return;
    }
    outcome_ = std::move(outcome);
  }
  changed_.notify_all();
}

}  // namespace spf::zeromq
