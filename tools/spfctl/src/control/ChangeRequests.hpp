#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "commands/Changes.hpp"
#include "control/Reply.hpp"

namespace spfctl {

/// A client's request to replace the configuration.
struct ApplyRequest {
  std::string file;  ///< the name of the file, for messages and for reloading
  std::string text;
  std::chrono::milliseconds timeout;
  bool rollback = false;
  std::shared_ptr<Reply> reply;
};

/// What clients want from the session's thread, in the order of their requests. Synchronised by itself.
class ChangeRequests {
 public:
  explicit ChangeRequests(Changes& changes) : changes_(changes) {}

  void add(ApplyRequest request);
  void addWithdrawal(std::shared_ptr<Reply> reply);

  /// Takes the oldest request to apply something.
  std::optional<ApplyRequest> next();

  /// Returns whether a client wants the host to end.
  bool isWithdrawalRequested() const { return isWithdrawalRequested_; }

  /// Answers all withdrawals, and lets what is still waiting or comes later fail.
  void close(bool isWithdrawn);

 private:
  Changes& changes_;
  std::atomic<bool> isWithdrawalRequested_{false};
  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::deque<ApplyRequest> applications_;
  std::vector<std::shared_ptr<Reply>> withdrawals_;
  bool isClosed_ = false;
};

}  // namespace spfctl
