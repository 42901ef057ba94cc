#include "LocalListener.hpp"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include "LocalAddress.hpp"

namespace spf::zeromq {

namespace {

constexpr int pendingConnections = 100;
constexpr int noDescriptor = -1;

[[noreturn]] void fail(const std::string& path, int error) {
  throw std::system_error(error, std::generic_category(), path);
}

[[noreturn]] void refuse(const std::string& path, const std::string& what) {
  throw std::runtime_error(path + ": " + what);
}

int newSocket(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) {
    fail(path, errno);
  }
  return descriptor;
}

void bindTo(int descriptor, const std::string& path, const std::string& reported) {
  const LocalAddress local = toLocalAddress(path);
  if (bind(descriptor, local.get(), local.size) != 0) {
    fail(reported, errno);
  }
}

void startListening(int descriptor, const std::string& reported) {
  if (listen(descriptor, pendingConnections) != 0) {
    fail(reported, errno);
  }
}

/// Returns the error of connecting to the address: 0 or EAGAIN if a process listens there.
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

/// Returns a random file name, so that no process can mistake the file for the address of an endpoint.
std::string privateName() {
  std::random_device random;
  return ".spf-" + std::to_string(random()) + "-" + std::to_string(random());
}

/// Reserves the removal of one stale file for this process, by a name in the kernel's table, which the kernel releases
/// when the process ends. Processes of other network namespaces do not see the name.
class Takeover {
 public:
  Takeover(const struct stat& file, const std::string& path) : descriptor_(newSocket(path)) {
    try {
      bindTo(descriptor_, "@spf-takeover-" + std::to_string(file.st_dev) + "-" + std::to_string(file.st_ino), path);
    } catch (...) {
      close(descriptor_);
      throw;
    }
  }
  ~Takeover() { close(descriptor_); }
  Takeover(const Takeover&) = delete;
  Takeover& operator=(const Takeover&) = delete;

 private:
  const int descriptor_;
};

/// The socket file at a path. Its folder is kept open, because the working directory may change, and because the path
/// of a private name in that folder may be longer than an address allows.
class SocketFile {
 public:
  explicit SocketFile(const std::string& path)
      : path_(path),
        parent_(std::filesystem::path(path).parent_path()),
        name_(std::filesystem::path(path).filename()),
        folder_(open(parent_.empty() ? "." : parent_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (folder_ < 0) {
      fail(path_, errno);
    }
  }
  ~SocketFile() { close(folder_); }
  SocketFile(const SocketFile&) = delete;
  SocketFile& operator=(const SocketFile&) = delete;

  /// Returns the address of a private name in the folder.
  std::string addressOf(const std::string& name) const {
    const std::string direct = parent_ / name;
    return direct.size() < sizeof(sockaddr_un::sun_path) ? direct
                                                         : "/proc/self/fd/" + std::to_string(folder_) + "/" + name;
  }

  struct stat statusOf(const std::string& name) const {
    struct stat status {};
    if (fstatat(folder_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      fail(path_, errno);
    }
    return status;
  }

  void remove(const std::string& name) const noexcept { unlinkat(folder_, name.c_str(), 0); }

  /// Links a socket with a private name to the path, in one step.
  /// \return false if a file exists at the path
  bool publish(const std::string& name) const {
    if (linkat(folder_, name.c_str(), folder_, name_.c_str(), 0) == 0) {
      return true;
    }
    const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS;  // this file system
    if (hasNoLinks && renameat2(folder_, name.c_str(), folder_, name_.c_str(), RENAME_NOREPLACE) == 0) {
      return true;
    }
    if (errno != EEXIST) {
      fail(path_, errno);
    }
    return false;
  }

  /// Removes a socket file without a listening process.
  /// \throws std::system_error or std::runtime_error if the path holds anything else, or another process is about to
  ///         replace the file
  void removeStale() const {
    struct stat status {};
    if (fstatat(folder_, name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      return;  // it was removed meanwhile
    }
    if (!S_ISSOCK(status.st_mode)) {
      refuse(path_, "the file exists and is no socket");
    }
    if (status.st_uid != geteuid()) {
      refuse(path_, "the socket belongs to another user");
    }
    const Takeover takeover(status, path_);
    requireStale(path_);
    removeIfStillStale();
  }

 private:
  void requireStale(const std::string& address) const {
    switch (const int result = probe(address)) {
      case ECONNREFUSED:
      case ENOENT:  // it was removed meanwhile
        return;
      case EPROTOTYPE:
        refuse(path_, "the socket is of another type");
      case 0:
      case EAGAIN:
        fail(path_, EADDRINUSE);
      default:
        fail(path_, result);
    }
  }

  // A process that does not use Takeover may have replaced the stale file since: the file is renamed, checked again,
  // and restored if a process listens after all.
  void removeIfStillStale() const {
    const std::string aside = privateName();
    if (renameat(folder_, name_.c_str(), folder_, aside.c_str()) != 0) {
      if (errno != ENOENT) {
        fail(path_, errno);
      }
      return;  // it was removed meanwhile
    }
    try {
      requireStale(addressOf(aside));
    } catch (...) {
      publish(aside);
      remove(aside);
      throw;
    }
    remove(aside);
  }

  const std::string path_;
  const std::filesystem::path parent_;
  const std::string name_;
  const int folder_;
};

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
  const bool isOurs = std::exchange(hasFile_, false) && lstat(file_.c_str(), &status) == 0 &&
                      status.st_dev == device_ && status.st_ino == inode_;
  if (isOurs) {
    unlink(file_.c_str());
  }
}

void LocalListener::bindAndListen() {
  toLocalAddress(path_);  // fails if the path is too long for peers
  if (isFile(path_)) {
    bindFile();
  } else {
    bindTo(descriptor_, path_, path_);
    startListening(descriptor_, path_);
  }
}

// The socket listens before it is linked to the path, because other processes take a file that refuses connections for
// a stale one.
void LocalListener::bindFile() {
  const SocketFile file(path_);
  const std::string name = privateName();
  bindTo(descriptor_, file.addressOf(name), path_);
  try {
    startListening(descriptor_, path_);
    const auto status = file.statusOf(name);
    if (!file.publish(name)) {
      file.removeStale();
      if (!file.publish(name)) {
        fail(path_, EADDRINUSE);
      }
    }
    hasFile_ = true;
    device_ = status.st_dev;
    inode_ = status.st_ino;
  } catch (...) {
    file.remove(name);
    throw;
  }
  file.remove(name);
}

}  // namespace spf::zeromq
