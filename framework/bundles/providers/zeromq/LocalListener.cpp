#include "LocalListener.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace spf::zeromq {

namespace {

constexpr int pendingConnections = 100;
constexpr int noDescriptor = -1;

struct LocalAddress {
  sockaddr_un address{};
  socklen_t size = 0;

  const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

[[noreturn]] void fail(const std::string& path, int error) {
  throw std::system_error(error, std::generic_category(), path);
}

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
  throw std::runtime_error(path + ": " + what);
}

bool isFile(const std::string& path) {
  return path.front() != '@';
}

LocalAddress toLocalAddress(const std::string& path) {
  LocalAddress local;
  if (path.size() >= sizeof(local.address.sun_path)) {
    fail(path, ENAMETOOLONG);
  }
  local.address.sun_family = AF_UNIX;
  std::memcpy(local.address.sun_path, path.data(), path.size());
  if (isFile(path)) {
    local.size = sizeof(local.address);
  } else {
    local.address.sun_path[0] = '\0';
    local.size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  }
  return local;
}

int newSocket(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    fail(path, errno);
  }
  return descriptor;
}

/// What connecting to the address says: 0 or EAGAIN when somebody listens.
int probe(const std::string& path) {
  const LocalAddress local = toLocalAddress(path);
  const int descriptor = newSocket(path);
  int result = 0;
  do {
    result = connect(descriptor, local.get(), local.size) == 0 ? 0 : errno;
  } while (result == EINTR);
  close(descriptor);
  return result;
}

/// Removes a socket file that nobody listens at.
/// \throws when anything else stands at the path
void removeStale(const std::string& path) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    return;  // it went meanwhile
  }
  if (!S_ISSOCK(status.st_mode)) {
    refuse(path, "the file exists and is no socket");
  }
  if (status.st_uid != geteuid()) {
    refuse(path, "the socket belongs to another user");
  }
  switch (const int result = probe(path)) {
    case ECONNREFUSED:
      unlink(path.c_str());
      return;
    case EPROTOTYPE:
      refuse(path, "the socket is of another type");
    case 0:
    case EAGAIN:
      fail(path, EADDRINUSE);
    default:
      fail(path, result);
  }
}

}  // namespace

LocalListener::LocalListener(std::string path)
    : path_(std::move(path)), file_(std::filesystem::absolute(path_).string()), descriptor_(newSocket(path_)) {
  try {
    bindAndListen();
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

LocalListener::~LocalListener() {
  removeFile();
  if (descriptor_ != noDescriptor) {
    close(descriptor_);
  }
}

void LocalListener::release() noexcept {
  descriptor_ = noDescriptor;
}

void LocalListener::removeFile() noexcept {
  struct stat status {};
  const bool ours = std::exchange(hasFile_, false) && lstat(file_.c_str(), &status) == 0 && status.st_dev == device_ &&
                    status.st_ino == inode_;
  if (ours) {
    unlink(file_.c_str());
  }
}

void LocalListener::bindAndListen() {
  const LocalAddress local = toLocalAddress(path_);
  if (bind(descriptor_, local.get(), local.size) != 0) {
    if (errno != EADDRINUSE || !isFile(path_)) {
      fail(path_, errno);
    }
    removeStale(path_);
    if (bind(descriptor_, local.get(), local.size) != 0) {
      fail(path_, errno);
    }
  }
  struct stat status {};
  if (isFile(path_) && lstat(file_.c_str(), &status) == 0) {
    hasFile_ = true;
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
  if (listen(descriptor_, pendingConnections) != 0) {
    const int error = errno;
    removeFile();
    fail(path_, error);
  }
}

}  // namespace spf::zeromq
