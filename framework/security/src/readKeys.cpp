#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include "KeyFile.hpp"
#include "Wiped.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace agent::spf::security {

namespace {

KeyFile open(const std::filesystem::path& file) {
  auto descriptor = openForReading(AT_FDCWD, file.c_str());
  if (!descriptor.isOpen()) {
    throw KeyFileError(file.native() + ": cannot be read: " + std::generic_category().message(errno) +
                       "; expected a key file");
  }
  return {std::move(descriptor), file.native()};
}

}  // namespace

PublicKey readPublicKey(const std::filesystem::path& file) {
  KeyBytes key{};
  open(file).read(key);
  return PublicKey(key);
}

SecretKey readSecretKey(const std::filesystem::path& file) {
  const auto opened = open(file);
  opened.requireSecret();
  Wiped<KeyBytes> key;
  opened.read(*key);
  return SecretKey(*key);
}

}  // namespace agent::spf::security
