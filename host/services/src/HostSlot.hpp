#pragma once

#include <memory>
#include <mutex>

namespace agent::host::services {

class HostProcess;

/// The process's one place for a host. Any thread may call any member.
class HostSlot {
 public:
  /// The slot of this process. It is never destroyed: threads may still ask while the process ends.
  static HostSlot& instance();

  /// Reserves the place for a host that is about to start.
  /// \throws std::logic_error when it is taken
  void claim();

  /// Shows the host that claimed the place to everybody.
  void show(std::shared_ptr<HostProcess> process);

  /// Gives the place free.
  void release() noexcept;

  /// The host that is shown, or null.
  std::shared_ptr<HostProcess> current() const;

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  bool claimed_ = false;
  std::shared_ptr<HostProcess> current_;
};

}  // namespace agent::host::services
