#pragma once

#include <iosfwd>
#include <memory>

#include "agent/spf/security/PublicKey.hpp"

namespace agent::spf::security {

/// A secret CURVE key with the public key that belongs to it.
///
/// The key stays in one place of the memory, which is overwritten at the end; moving leaves it there, and it can
/// neither be copied nor printed. A key that was moved from can only be assigned to and destroyed. Not synchronised.
class SecretKey {
 public:
  /// Makes a new pair. Neither half's text begins with `#`, which would make it a comment in a file.
  /// \throws std::runtime_error  if libzmq was built without CURVE
  [[nodiscard]] static SecretKey generate();

  /// Takes a copy of the key; the caller overwrites its own.
  /// \throws std::runtime_error  if libzmq was built without CURVE
  explicit SecretKey(const KeyBytes& bytes);

  /// Returns the key for a socket or a file, which keep it as secret. The reference is valid as long as the key is
  /// neither moved from nor destroyed.
  const KeyBytes& bytes() const noexcept { return *bytes_; }

  const PublicKey& publicKey() const noexcept { return publicKey_; }

 private:
  struct Wipe {
    void operator()(KeyBytes* bytes) const noexcept;
  };

  std::unique_ptr<KeyBytes, Wipe> bytes_;
  PublicKey publicKey_;
};

std::ostream& operator<<(std::ostream& stream, const SecretKey& key) = delete;

}  // namespace agent::spf::security
