#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "control/ControlError.hpp"
#include "control/ControlFolder.hpp"

namespace spfctl {

/// No host of that name runs.
class NoHostError : public ControlError {
 public:
  using ControlError::ControlError;
};

/// The host has closed the connection.
class ConnectionLostError : public ControlError {
 public:
  using ControlError::ControlError;
};

/// The host did not answer in time.
class NoAnswerError : public ControlError {
 public:
  using ControlError::ControlError;
};

/// A connection to a host. For one thread; every call blocks until its end or the deadline.
class ControlClient {
 public:
  using Deadline = std::chrono::steady_clock::time_point;

  /// Connects.
  /// \throws NoHostError if the host does not run, NoAnswerError if the deadline has passed, and ControlError if the
  ///         host cannot be reached for another reason
  ControlClient(const ControlFolder& folder, std::string host, Deadline deadline);

  ~ControlClient();
  ControlClient(const ControlClient&) = delete;
  ControlClient& operator=(const ControlClient&) = delete;

  void setDeadline(Deadline deadline);

  /// Sends a request.
  /// \param request  its name and members; the version is added
  void send(nlohmann::ordered_json request);

  /// Reads the next line.
  /// \throws ConnectionLostError or NoAnswerError
  std::string readLine();

  /// Reads the next line as the answer to a request.
  /// \throws ControlError as well if it is no JSON object
  nlohmann::ordered_json readAnswer();

  /// Reads and drops everything until the host has ended.
  /// \throws NoAnswerError if it still runs at the deadline
  void waitForEnd();

 private:
  struct Stream;

  const std::string host_;
  const std::unique_ptr<Stream> stream_;
};

}  // namespace spfctl
