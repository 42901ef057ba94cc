#include "control/ChangeRequests.hpp"

#include <utility>

#include "control/answers.hpp"

namespace spfctl {

void ChangeRequests::add(ApplyRequest request) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isClosed_) {
      request.reply->finish(hostIsEnding());
      return;
    }
    applications_.push_back(std::move(request));
  }
  changes_.note();
}

void ChangeRequests::addWithdrawal(std::shared_ptr<Reply> reply) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isClosed_) {
      reply->finish(hostIsEnding());
      return;
    }
    withdrawals_.push_back(std::move(reply));
  }
  isWithdrawalRequested_ = true;
  changes_.note();
}

std::optional<ApplyRequest> ChangeRequests::next() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (applications_.empty()) {
    return std::nullopt;
  }
  auto request = std::move(applications_.front());
  applications_.pop_front();
  return request;
}

void ChangeRequests::close(bool isWithdrawn) {
  const std::lock_guard<std::mutex> lock(mutex_);
  isClosed_ = true;
  for (const auto& request : applications_) {
    request.reply->finish(hostIsEnding());
  }
  for (const auto& reply : withdrawals_) {
    reply->finish(isWithdrawn ? success() : failure(ExitCode::notReadyInTime, "not every publisher was unpublished"));
  }
  applications_.clear();
  withdrawals_.clear();
}

}  // namespace spfctl
