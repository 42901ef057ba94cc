#pragma once

#include <string>

#include <sys/types.h>

namespace spf::zeromq {

/// A socket that listens at an `ipc` address, made here because ZeroMQ removes whatever file stands
/// at the path, and leaves its own behind.
///
/// Replaces the socket file of a process that is gone and nothing else, also when several processes
/// try to at a time. The file is removed again by the destructor, unless another one took its place.
class LocalListener {
 public:
  /// \param path  of the socket file; one that starts with '@' is a name in the kernel's own table
  /// \throws std::system_error or std::runtime_error with the path and what stands in the way
  explicit LocalListener(std::string path);
  ~LocalListener();

  LocalListener(const LocalListener&) = delete;
  LocalListener& operator=(const LocalListener&) = delete;

  int descriptor() const noexcept { return descriptor_; }

  /// Leaves the descriptor to ZeroMQ, which closes it from then on.
  void release() noexcept;

  /// Removes the socket file. To be called while the socket listens: nobody else replaces it then.
  void removeFile() noexcept;

 private:
  void bindAndListen();
  void bindFile();

  const std::string path_;
  const std::string file_;  ///< the same from the root on: the working directory may change
  int descriptor_;
  bool hasFile_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace spf::zeromq
