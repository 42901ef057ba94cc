#pragma once

#include <memory>
#include <mutex>

namespace agent::host::services {

class HostProcess;

/// Holds the only host of the process. Any thread may call any member.
class HostSlot {
 public:
  /// Returns the slot of this process. It is never destroyed, because threads may still use it while the process ends.
  static HostSlot& instance();

  /// Reserves the slot for a host that is about to start.
  /// \throws std::logic_error if it is reserved already
  void claim();

  /// Makes the host that has reserved the slot available to all threads.
  void publish(std::shared_ptr<HostProcess> process);

  /// Removes the host and ends the reservation.
  void release() noexcept;

  /// Returns the published host, or null.
  std::shared_ptr<HostProcess> current() const;

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  bool claimed_ = false;
  std::shared_ptr<HostProcess> current_;
};

}  // namespace agent::host::services
