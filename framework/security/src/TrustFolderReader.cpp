#include "TrustFolderReader.hpp"

#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>
#include <tuple>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include "KeyFile.hpp"
#include "agent/spf/security/KeyName.hpp"
#include "protection.hpp"

namespace agent::spf::security {

namespace {

/// Clocks of file systems tick every few milliseconds, some only every two seconds.
constexpr time_t longestTick = 2;

constexpr std::string_view suffix = publicKeySuffix;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

std::string reasonOf(int error) {
  return std::generic_category().message(error);
}

bool isCandidate(std::string_view file) {
  return file.size() > suffix.size() && file.front() != '.' && file.substr(file.size() - suffix.size()) == suffix;
}

std::string nameOf(const std::string& file) {
  return file.substr(0, file.size() - suffix.size());
}

// What says something about this process, not about the file.
bool isShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM;
}

// Whether a file has gone since it was listed. A link that leads nowhere is still there.
bool hasGone(int folder, const std::string& file) {
  struct stat status {};
  return fstatat(folder, file.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

timespec currentTime() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return time;
}

std::string messageOf(const std::filesystem::path& folder, int error) {
  return folder.native() + ": cannot be read: " + reasonOf(error) + "; expected a folder of public keys";
}

[[noreturn]] void refuse(const std::filesystem::path& folder, int error) {
  const auto message = messageOf(folder, error);
  if (isShortage(error)) {
    throw Shortage(message);
  }
  throw UntrustedFolder(message);
}

Folder open(const std::filesystem::path& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) {
    refuse(path, errno);
  }
  Folder folder(fdopendir(descriptor));
  if (folder == nullptr) {
    const int error = errno;
    close(descriptor);
    refuse(path, error);
  }
  return folder;
}

void requireProtected(const struct stat& status, const std::filesystem::path& path) {
  if (const auto reason = whyUnprotected(status, 0755, "in a folder of public keys")) {
    throw UntrustedFolder(path.native() + ": " + *reason);
  }
}

struct stat statusOf(DIR* folder, const std::filesystem::path& path) {
  struct stat status {};
  if (fstat(dirfd(folder), &status) != 0) {
    refuse(path, errno);
  }
  return status;
}

// Of the folder, for which no descriptor is left. A status that cannot be had for a shortage is treated like any other
// failure, since then nothing shows that a key is still there.
struct stat statusOf(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    throw UntrustedFolder(messageOf(path, errno));
  }
  if (!S_ISDIR(status.st_mode)) {
    throw UntrustedFolder(messageOf(path, ENOTDIR));
  }
  return status;
}

std::vector<std::string> filesIn(DIR* folder, const std::filesystem::path& path) {
  std::vector<std::string> files;
  errno = 0;
  while (const auto* const entry = readdir(folder)) {
    if (isCandidate(entry->d_name)) {
      files.emplace_back(entry->d_name);
    }
    errno = 0;
  }
  if (errno != 0) {
    refuse(path, errno);
  }
  return files;
}

}  // namespace

TrustedKeys TrustFolder::Reader::read() {
  const auto folder = open(folder_);
  const auto status = statusOf(folder.get(), folder_);
  requireProtected(status, folder_);
  std::map<std::string, Reading> readings;
  for (const auto& file : filesIn(folder.get(), folder_)) {
    if (const auto* const reading = known(dirfd(folder.get()), file)) {
      readings.emplace(file, *reading);
    } else if (const auto anew = readFile(dirfd(folder.get()), file)) {
      readings.emplace(file, *anew);
    }
  }
  readings_ = std::move(readings);
  identity_ = {status.st_dev, status.st_ino};
  std::map<std::string, PublicKey> keys;
  std::vector<std::string> problems;
  for (const auto& [file, reading] : readings_) {
    if (reading.key) {
      keys.emplace(nameOf(file), *reading.key);
    } else {
      problems.push_back(reading.problem);
    }
  }
  return {std::move(keys), std::move(problems), folder_};
}

TrustedKeys TrustFolder::Reader::remaining(const TrustedKeys& trusted) const {
  const auto status = statusOf(folder_);
  requireProtected(status, folder_);
  std::map<std::string, PublicKey> keys;
  if (status.st_dev == identity_.device && status.st_ino == identity_.inode) {
    for (const auto& [name, key] : trusted.keys()) {
      const auto file = name + publicKeySuffix;
      const auto found = readings_.find(file);
      if (found != readings_.end() && isUnchanged(AT_FDCWD, pathOf(file), found->second)) {
        keys.emplace(name, key);
      }
    }
  }
  return {std::move(keys), trusted.problems(), folder_};
}

// Returns what became of a file that has not changed since; null if it may have.
const TrustFolder::Reader::Reading* TrustFolder::Reader::known(int folder, const std::string& file) const {
  const auto found = readings_.find(file);
  return found != readings_.end() && isUnchanged(folder, file, found->second) ? &found->second : nullptr;
}

TrustFolder::Reader::Stamp TrustFolder::Reader::stampOf(const struct stat& status) {
  return {status.st_dev, status.st_ino, status.st_mode, status.st_uid, status.st_size, status.st_mtim, status.st_ctim};
}

// A file that is written, read and written again within one tick of the clock has the same stamp both times, since all
// keys are of one size and a file may get the inode of one that was removed.
bool TrustFolder::Reader::isFinal(const Stamp& stamp, const timespec& now) {
  return stamp.modified.tv_sec + longestTick < now.tv_sec && stamp.changed.tv_sec + longestTick < now.tv_sec;
}

bool TrustFolder::Reader::isUnchanged(int folder, const std::string& file, const Reading& reading) {
  const auto members = [](const Stamp& stamp) {
    return std::make_tuple(stamp.device, stamp.inode, stamp.mode, stamp.owner, stamp.size, stamp.modified.tv_sec,
                           stamp.modified.tv_nsec, stamp.changed.tv_sec, stamp.changed.tv_nsec);
  };
  struct stat status {};
  return reading.isFinal && fstatat(folder, file.c_str(), &status, 0) == 0 &&
         members(stampOf(status)) == members(reading.stamp);
}

// Returns no value if the file is not there any more.
std::optional<TrustFolder::Reader::Reading> TrustFolder::Reader::readFile(int folder, const std::string& file) const {
  Reading reading;
  if (!isKeyName(nameOf(file))) {
    reading.problem = pathOf(file) + ": is not named after a key; expected " + expectedKeyName;
    return reading;
  }
  const auto now = currentTime();
  auto descriptor = openForReading(folder, file.c_str());
  const int error = errno;
  if (descriptor.isOpen()) {
    readOpened(std::move(descriptor), file, now, reading);
  } else if (isShortage(error)) {
    refuse(folder_, error);
  } else if (hasGone(folder, file)) {
    return std::nullopt;
  } else {
    reading.problem = pathOf(file) + ": cannot be read: " + reasonOf(error);
  }
  return reading;
}

void TrustFolder::Reader::readOpened(Descriptor descriptor, const std::string& file, const timespec& now,
                                     Reading& reading) const {
  try {
    const KeyFile opened(std::move(descriptor), pathOf(file));
    opened.requireProtected();
    KeyBytes key{};
    opened.read(key);
    reading.key = PublicKey(key);
    reading.stamp = stampOf(opened.status());
    reading.isFinal = isFinal(reading.stamp, now);
  } catch (const KeyFileError& error) {
    reading.problem = error.what();
  }
}

}  // namespace agent::spf::security
