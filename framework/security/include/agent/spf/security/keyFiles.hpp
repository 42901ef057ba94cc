#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

#include "agent/spf/security/KeyName.hpp"
#include "agent/spf/security/PublicKey.hpp"
#include "agent/spf/security/SecretKey.hpp"

// Files of keys: `NAME.pub` holds a public and `NAME.key` a secret key, as 40 characters of Z85 in a line of its own.
// Lines that begin with `#` are comments; they and blank lines are skipped, and white space around the key does not
// count. Anything else is an error. At most 4,096 bytes are a key file.
//
// All functions block on the file system. No message contains any part of a key.
namespace agent::spf::security {

constexpr auto publicKeySuffix = ".pub";
constexpr auto secretKeySuffix = ".key";

/// A key file cannot be read or written. The message names the file, the line if it is about one, what is wrong and
/// what was expected.
class KeyFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads a public key.
/// \throws KeyFileError  if the file cannot be read or holds none
[[nodiscard]] PublicKey readPublicKey(const std::filesystem::path& file);

/// Reads a secret key.
///
/// The file is opened once, and what was opened is judged and read: a regular file that belongs to the effective user
/// and gives no permission to its group or to others, not even through an access control list, which the group's bits
/// then show. So nobody can exchange the file between the judgement and the reading. Symbolic links are followed, since
/// whatever they lead to is judged alike; the folders on the way are not judged.
/// \throws KeyFileError  if the file cannot be read, is not as secret as that, or holds no key
[[nodiscard]] SecretKey readSecretKey(const std::filesystem::path& file);

/// The files of a pair of keys.
struct KeyPairFiles {
  std::filesystem::path publicKey;
  std::filesystem::path secretKey;
};

/// Writes a pair of keys. The secret half is readable for the effective user only, from its first byte on. Either file
/// appears under its name complete, and never in the place of another one, not even of a symbolic link. After a failure
/// neither of them is there.
/// \param folder  has to exist; empty: the current one
/// \throws KeyFileError  if there is a file of one of the names already, or one cannot be written
KeyPairFiles writeKeyPair(const KeyName& name, const SecretKey& key, const std::filesystem::path& folder);

}  // namespace agent::spf::security
