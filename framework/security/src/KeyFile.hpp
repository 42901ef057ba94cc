#pragma once

#include <cstddef>
#include <string>

#include <sys/stat.h>
#include "Descriptor.hpp"
#include "agent/spf/security/PublicKey.hpp"

namespace agent::spf::security {

/// Opens a file for reading, without waiting for a writer if it is a pipe.
/// \param folder  descriptor of the folder in which a relative path begins, or `AT_FDCWD`
/// \return a closed one, with errno set, if that fails
Descriptor openForReading(int folder, const char* path) noexcept;

/// A key file that was opened. It is judged and read through the one descriptor, so that both are about the same file.
/// Not synchronised.
class KeyFile {
 public:
  /// \param name  of the file, for messages
  /// \throws KeyFileError  if the file is not a regular one
  KeyFile(Descriptor descriptor, std::string name);

  const struct stat& status() const noexcept { return status_; }

  /// \throws KeyFileError  unless the file belongs to the effective user, and to nobody else in any way
  void requireSecret() const;

  /// \throws KeyFileError  unless the file belongs to the effective user or root, and nobody else may write it
  void requireProtected() const;

  /// Reads the only key in the file. To be called once.
  /// \throws KeyFileError  if there is none or something else
  void read(KeyBytes& key) const;

 private:
  [[noreturn]] void refuse(const std::string& reason) const;
  [[noreturn]] void refuse(std::size_t line, const std::string& reason) const;

  Descriptor descriptor_;
  std::string name_;
  struct stat status_ {};
};

}  // namespace agent::spf::security
