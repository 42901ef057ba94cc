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

/// The folder is not there, or others may write in it.
class UntrustedFolder : public KeyFileError {
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
  /// \throws KeyFileError     if the folder cannot be read for another reason
  TrustedKeys read();

 private:
  /// Tells one state of a file from another.
  struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
  };

  /// What became of a file.
  struct Reading {
    std::optional<PublicKey> key;
    std::string problem;   ///< why there is no key
    Stamp stamp;           ///< when it was opened
    bool isFinal = false;  ///< whether an equal stamp means an equal content
  };

  static Stamp stampOf(const struct stat& status);
  static bool isFinal(const Stamp& stamp, const timespec& now);
  static bool isUnchanged(int folder, const std::string& file, const Reading& reading);

  const Reading* known(int folder, const std::string& file) const;
  std::optional<Reading> readFile(int folder, const std::string& file) const;
  void readOpened(Descriptor descriptor, const std::string& file, const timespec& now, Reading& reading) const;
  std::string pathOf(const std::string& file) const { return (folder_ / file).native(); }

  const std::filesystem::path folder_;
  std::map<std::string, Reading> readings_;  // by the names of files
};

}  // namespace agent::spf::security
