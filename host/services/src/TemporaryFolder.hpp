#pragma once

#include <filesystem>

namespace agent::host::services {

/// Creates a folder in the system's folder for temporary files, accessible to its owner only. The destructor deletes it
/// with its content, and ignores failures.
class TemporaryFolder {
 public:
  /// Creates the folder.
  /// \throws std::system_error if the folder cannot be created
  TemporaryFolder();
  ~TemporaryFolder();

  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace agent::host::services
