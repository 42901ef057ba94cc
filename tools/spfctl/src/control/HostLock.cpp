#include "control/HostLock.hpp"

#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "control/ControlError.hpp"

namespace spfctl {

namespace {

constexpr std::size_t longestNumber = 20;

// Returns "process 123", or "another process" if it has not written its number yet.
std::string holderOf(int descriptor) {
  char text[longestNumber];
  const auto length = pread(descriptor, text, sizeof text, 0);
  return length > 0 ? "process " + std::string(text, static_cast<std::size_t>(length)) : "another process";
}

[[noreturn]] void refuse(const std::filesystem::path& file, int error) {
  throw ControlError("lock '" + file.native() + "': " + std::generic_category().message(error));
}

bool isSameFile(int descriptor, const std::filesystem::path& path) {
  struct stat opened {};
  struct stat named {};
  return fstat(descriptor, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

}  // namespace

HostLock::HostLock(const ControlFolder& folder, const std::string& host) : file_(folder.lockOf(host)) {
  while (!tryToLock(host)) {
  }
  const auto number = std::to_string(getpid());
  // Nothing but the text of another process's error depends on it.
  (void)(ftruncate(descriptor_, 0) == 0 && pwrite(descriptor_, number.data(), number.size(), 0) > 0);
}

// Returns false if a host that ends has deleted the file that was opened.
bool HostLock::tryToLock(const std::string& host) {
  descriptor_ = open(file_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (descriptor_ < 0) {
    refuse(file_, errno);
  }
  if (flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    const auto holder = holderOf(descriptor_);
    const bool isDeleted = !isSameFile(descriptor_, file_);
    close(descriptor_);
    if (error != EWOULDBLOCK) {
      refuse(file_, error);
    }
    if (isDeleted) {
      return false;
    }
    throw ControlError("a host named '" + host + "' runs already: " + holder + "; expected another --name");
  }
  if (isSameFile(descriptor_, file_)) {
    return true;
  }
  close(descriptor_);
  return false;
}

HostLock::~HostLock() {
  unlink(file_.c_str());
  close(descriptor_);
}

}  // namespace spfctl
