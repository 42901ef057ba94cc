#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <boost/asio/thread_pool.hpp>
#include <nlohmann/json_fwd.hpp>

#include "control/ChangeRequests.hpp"
#include "control/HostStatus.hpp"
#include "control/Reply.hpp"
#include "events/EventRecorder.hpp"

namespace spfctl {

/// A host's answers to its clients. What changes something is handed to the session's thread.
class HostControl {
 public:
  /// \param showLogRecords  changes the log levels
  HostControl(std::string name, const StatusBoard& board, EventRecorder& recorder, ChangeRequests& requests,
              std::function<void(std::uint32_t levels)> showLogRecords);

  /// Waits for questions to peers that are under way. Called after `close`, which drops the others.
  ~HostControl();

  HostControl(const HostControl&) = delete;
  HostControl& operator=(const HostControl&) = delete;

  /// Handles a request of protocol version 1. Does not block; called on one thread.
  void handle(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);

  /// Answers clients that wait for the status that was just set. Any thread may call it.
  void noteStatus();

  /// Lets those that still wait, or ask later, fail, since the host is ending.
  void close();

 private:
  void answerStatus(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);
  void answerWatch(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);
  void answerApply(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);
  void answerAsk(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);
  void answerLog(const nlohmann::json& request, const std::shared_ptr<Reply>& reply);
  nlohmann::ordered_json statusAnswer(const HostStatus& status) const;
  bool answerIfReady(const std::shared_ptr<Reply>& reply) const;
  bool isClosed();

  const std::string name_;
  const std::chrono::system_clock::time_point started_ = std::chrono::system_clock::now();
  const StatusBoard& board_;
  EventRecorder& recorder_;
  ChangeRequests& requests_;
  const std::function<void(std::uint32_t)> showLogRecords_;
  boost::asio::thread_pool questions_;  // synchronised by itself

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::vector<std::shared_ptr<Reply>> waitingForReadiness_;
  bool isClosed_ = false;
};

}  // namespace spfctl
