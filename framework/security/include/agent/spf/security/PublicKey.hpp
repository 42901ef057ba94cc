#pragma once

#include <array>
#include <cstddef>
#include <string>

namespace agent::spf::security {

/// The bytes of a key.
using KeyBytes = std::array<unsigned char, 32>;

/// The public half of a pair of CURVE keys. A value, which any thread may copy.
class PublicKey {
 public:
  explicit PublicKey(const KeyBytes& bytes) noexcept : bytes_(bytes) {}

  const KeyBytes& bytes() const noexcept { return bytes_; }

  /// Returns the 40 characters of Z85 that the key is written as.
  std::string text() const;

  friend bool operator==(const PublicKey& left, const PublicKey& right) noexcept { return left.bytes_ == right.bytes_; }
  friend bool operator!=(const PublicKey& left, const PublicKey& right) noexcept { return !(left == right); }
  friend bool operator<(const PublicKey& left, const PublicKey& right) noexcept { return left.bytes_ < right.bytes_; }

 private:
  KeyBytes bytes_;
};

}  // namespace agent::spf::security
