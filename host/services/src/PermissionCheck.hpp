#pragma once

#include "BundleDirectory.hpp"

namespace agent::host::services {

/// Refuses files that anybody but their owners may put in place or change.
///
/// A value that never changes; any thread may use it.
class PermissionCheck {
 public:
  /// \param enabled  false: everything is accepted
  explicit PermissionCheck(bool enabled) : enabled_(enabled) {}

  /// Judges the file, and every folder on the way to it.
  /// \throws std::runtime_error naming the file, and the folder if others may write that
  void require(const BundleFile& file) const;

 private:
  const bool enabled_;
};

}  // namespace agent::host::services
