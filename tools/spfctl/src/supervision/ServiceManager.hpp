#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace spfctl {

/// Notifies the service manager that started the process (`NOTIFY_SOCKET`, see sd_notify(3)). Without one, nothing is
/// done.
///
/// A call blocks while the manager's socket is full. What the manager does not take, since it is gone, is sent again by
/// the next call of any function; only the latest state and the latest status are kept. For one thread.
class ServiceManager {
 public:
  /// Reads the environment.
  ServiceManager();
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  /// Returns whether there is a service manager.
  bool isPresent() const { return hasManager_; }

  /// Reports that the host does its work, for the first time or after `reloading`.
  void ready();

  /// Reports the line that the manager shows, if it has changed. Control characters are escaped, long texts are cut.
  void status(const std::string& text);

  /// Reports that the host changes to another configuration, until `ready`. Ignored unless the host is ready.
  void reloading();

  /// Reports that the host withdraws. `ready` and `reloading` have no effect afterwards.
  void stopping();

  /// Reports that the host is alive. Not sent again if the manager does not take it, since it is true now only.
  void alive();

  /// Returns the time within which the manager expects `alive` again; nothing if it does not watch this process or
  /// there is none.
  [[nodiscard]] std::optional<std::chrono::microseconds> watchdogInterval() const noexcept { return interval_; }

 private:
  // starting -> ready <-> reloading; each of them -> stopping
  enum class Phase { starting, ready, reloading, stopping };

  void enter(Phase phase, std::string message);
  void sendPending();
  bool send(const std::string& message) const;

  // Constant after construction:
  const bool hasManager_;
  std::optional<std::chrono::microseconds> interval_;

  // Used by the one thread:
  Phase phase_ = Phase::starting;
  std::string pendingPhase_;  // messages that the manager has not taken; empty for none
  std::string pendingStatus_;
  std::string status_;
};

}  // namespace spfctl
