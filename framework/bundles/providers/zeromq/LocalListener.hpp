#pragma once

#include <string>

#include <sys/types.h>

namespace spf::zeromq {

/// A socket that listens at an `ipc` address. ZeroMQ itself would remove any file at the path, and leave its own file
/// behind.
///
/// Replaces the socket file of a process that has ended, and no other file, even if several processes try at the same
/// time. The destructor removes the file, unless another one has replaced it.
class LocalListener {
 public:
  /// Creates the socket and starts to listen.
  /// \param path  of the socket file; one that starts with '@' is an abstract name of the kernel
  /// \throws std::system_error or std::runtime_error naming the path and the reason
  explicit LocalListener(std::string path);
  ~LocalListener();

  LocalListener(const LocalListener&) = delete;
  LocalListener& operator=(const LocalListener&) = delete;

  int descriptor() const noexcept { return descriptor_; }

  /// Transfers the ownership of the descriptor to ZeroMQ, which closes it.
  void release() noexcept;

  /// Removes the socket file. Has to be called while the socket listens, since no other process replaces the file then.
  void removeFile() noexcept;

 private:
  void bindAndListen();
  void bindFile();

  const std::string path_;
  const std::string file_;  ///< the absolute path, since the working directory may change
  int descriptor_;
  bool hasFile_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace spf::zeromq
