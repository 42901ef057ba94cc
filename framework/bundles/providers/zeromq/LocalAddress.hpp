#pragma once

#include <string>

#include <sys/socket.h>
#include <sys/un.h>

namespace spf::zeromq {

/// An `ipc` address as the kernel takes it.
struct LocalAddress {
  sockaddr_un address{};
  socklen_t size = 0;

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

/// Returns whether a path names a socket file, not an abstract name of the kernel.
inline bool isFile(const std::string& path) {
  return path.front() != '@';
}

/// Converts a path, or an abstract name that starts with '@'.
/// \throws std::system_error naming the path if it is too long
LocalAddress toLocalAddress(const std::string& path);

}  // namespace spf::zeromq
