#pragma once

#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <sys/stat.h>
#include "Descriptor.hpp"
#include "agent/spf/security/PublicKey.hpp"
#include "agent/spf/security/TrustFolder.hpp"
#include "agent/spf/security/TrustedKeys.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace agent::spf::security {

/// The folder cannot be read, or others may write in it.
class UntrustedFolder : public KeyFileError {
 public:
  using KeyFileError::KeyFileError;
};

/// The process or the machine has no descriptor or no memory left, which says nothing about the folder.
class Shortage : public KeyFileError {
 public:
  using KeyFileError::KeyFileError;
};

/// Reads a folder of public keys again and again, and of its files those that may have changed. Not synchronised.
class TrustFolder::Reader {
 public:
  explicit Reader(std::filesystem::path folder) : folder_(std::move(folder)) {}

  /// Reads what may have changed since the last time.
  /// \return all keys and problems
  /// \throws UntrustedFolder  if nobody is to be trusted
  /// \throws Shortage         if the folder has to be judged without a descriptor
  TrustedKeys read();

  /// Judges the folder and the files of keys by their status only, which takes no descriptor.
  /// \param trusted  what the last calls of this object have led to
  /// \return those keys whose files are certain to be the ones that were read, and all problems
  /// \throws UntrustedFolder  if nobody is to be trusted
  TrustedKeys remaining(const TrustedKeys& trusted) const;

 private:
  /// Tells one folder from another.
  struct Identity {
    dev_t device = 0;
    ino_t inode = 0;
  };

  /// Tells one state of a file from another.
  struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    mode_t mode = 0;
    uid_t owner = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
  };

  /// What became of a file.
  struct Reading {
    std::optional<PublicKey> key;
    std::string problem;   ///< why there is no key
    Stamp stamp;           ///< when it was opened
    bool isFinal = false;  ///< whether an equal stamp means that there is the same key
  };

  static Stamp stampOf(const struct stat& status);
  static bool isFinal(const Stamp& stamp, const timespec& now);
  static bool isUnchanged(int folder, const std::string& file, const Reading& reading);

  const Reading* known(int folder, const std::string& file) const;
  std::optional<Reading> readFile(int folder, const std::string& file) const;
  void readOpened(Descriptor descriptor, const std::string& file, const timespec& now, Reading& reading) const;
  std::string pathOf(const std::string& file) const { return (folder_ / file).native(); }

  const std::filesystem::path folder_;
  Identity identity_;                        // of the folder that was read last
  std::map<std::string, Reading> readings_;  // by the names of files
};

}  // namespace agent::spf::security
