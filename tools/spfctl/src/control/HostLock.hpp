#pragma once

#include <filesystem>
#include <string>

#include "control/ControlFolder.hpp"

namespace spfctl {

/// Holds the name of a host for this process. The kernel releases it when the process ends, however it ends, so a
/// socket whose name is not held is left over.
class HostLock {
 public:
  /// \throws ControlError naming the process if another one holds the name, or if the file cannot be locked
  HostLock(const ControlFolder& folder, const std::string& host);

  /// Deletes the file and releases the name.
  ~HostLock();

  HostLock(const HostLock&) = delete;
  HostLock& operator=(const HostLock&) = delete;

 private:
  bool tryToLock(const std::string& host);

  const std::filesystem::path file_;
  int descriptor_ = -1;
};

}  // namespace spfctl
