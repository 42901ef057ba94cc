#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include <stdlib.h>
#include "agent/host/host.hpp"

namespace hosttest {

/// A temporary installation root, which the destructor deletes with its content.
class TestTree {
 public:
  TestTree() {
    std::string name = (std::filesystem::temp_directory_path() / "hosttest-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot create " + name);
    }
    root_ = std::filesystem::canonical(name);
  }
  ~TestTree() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TestTree(const TestTree&) = delete;
  TestTree& operator=(const TestTree&) = delete;

  const std::filesystem::path& root() const { return root_; }

  /// Copies a bundle file into a directory below the root.
  /// \return the copy
  std::filesystem::path add(const std::string& directory, const std::filesystem::path& file) const {
    return addAs(directory, file, file.filename().native());
  }

  /// Copies a bundle file under another name.
  /// \return the copy
  std::filesystem::path addAs(const std::string& directory, const std::filesystem::path& file,
                              const std::string& name) const {
    std::filesystem::create_directories(root_ / directory);
    const auto copy = root_ / directory / name;
    std::filesystem::copy_file(file, copy);
    std::filesystem::permissions(copy, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    return copy;
  }

  /// Returns the options of a host with this tree as its root.
  agent::host::services::HostOptions options() const {
    agent::host::services::HostOptions options;
    options.installationRoot = root_;
    return options;
  }

 private:
  std::filesystem::path root_;
};

inline agent::host::filesystem::path path(const std::wstring& directory) {
  agent::host::filesystem::path result;
  result.append(directory);
  return result;
}

}  // namespace hosttest
