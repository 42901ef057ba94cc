#pragma once

#include "BundleDirectory.hpp"

namespace agent::host::services {

/// Refuses files that others may replace or change.
///
/// An immutable value; any thread may use it.
class PermissionCheck {
 public:
  /// Constructs a check.
  /// \param enabled  false: every file is accepted
  explicit PermissionCheck(bool enabled) : enabled_(enabled) {}

  /// Checks the permissions of a file and of every folder on its path.
  /// \throws std::runtime_error naming the file, and the folder if others may write it
  void require(const BundleFile& file) const;

 private:
  const bool enabled_;
};

}  // namespace agent::host::services
