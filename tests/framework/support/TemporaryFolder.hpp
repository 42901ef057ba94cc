#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace frameworktest {

/// A folder of its own for local sockets. A framework that is constructed later may use it until its end.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "spf-ipc-XXXXXX").native()) {
    if (mkdtemp(path_.data()) == nullptr) {
      throw std::runtime_error("cannot create a folder like " + path_);
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const noexcept { return path_; }

 private:
  std::string path_;
};

}  // namespace frameworktest
