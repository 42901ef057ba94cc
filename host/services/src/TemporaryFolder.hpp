#pragma once

#include <filesystem>

namespace agent::host::services {

/// A folder of its own below the system's folder for temporary files, readable by its owner only.
/// It is deleted with all its content when the object goes; a failure of that is ignored.
class TemporaryFolder {
 public:
  /// \throws std::runtime_error when the folder cannot be made
  TemporaryFolder();
  ~TemporaryFolder();

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace agent::host::services
