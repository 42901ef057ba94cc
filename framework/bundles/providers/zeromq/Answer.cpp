#include "Answer.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace spf::zeromq {

using agent::spf::frameworksupport::deadlineAfter;

std::string Answer::waitFor(std::chrono::milliseconds timeout) {
  const auto deadline = deadlineAfter(timeout);
  std::unique_lock<std::mutex> lock(mutex_);
  if (!changed_.wait_until(lock, deadline, [this] { return outcome_.has_value(); })) {
    const auto waited = std::max(timeout, std::chrono::milliseconds::zero());
    throw std::runtime_error("no answer within " + std::to_string(waited.count()) + " ms");
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
