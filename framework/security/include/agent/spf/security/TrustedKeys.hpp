#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "agent/spf/security/PublicKey.hpp"

namespace agent::spf::security {

/// The public keys that are trusted, and whose they are. It never changes, so that any threads may look up without a
/// lock.
class TrustedKeys {
 public:
  TrustedKeys() = default;

  /// \param keys      by name. Of a key that several names have nobody knows whose it is: none of them is trusted, and
  ///                  each gets a problem.
  /// \param problems  why something else is not trusted
  /// \param folder    where the names' files are, for problems
  TrustedKeys(std::map<std::string, PublicKey> keys, std::vector<std::string> problems,
              const std::filesystem::path& folder);

  /// Returns the key of a name; null if it is not trusted. Valid as long as this object.
  const PublicKey* find(const std::string& name) const;

  /// Returns the name that a key belongs to; null if it is not trusted. Valid as long as this object.
  const std::string* nameOf(const PublicKey& key) const;

  /// Returns all keys by name.
  const std::map<std::string, PublicKey>& keys() const noexcept { return keys_; }

  /// Returns in a fixed order why files are left out. Each text names its file.
  const std::vector<std::string>& problems() const noexcept { return problems_; }

  friend bool operator==(const TrustedKeys& left, const TrustedKeys& right) {
    return left.keys_ == right.keys_ && left.problems_ == right.problems_;
  }

 private:
  void leaveOut(const std::vector<std::string>& names, const std::filesystem::path& folder);

  std::map<std::string, PublicKey> keys_;
  std::map<PublicKey, std::string> names_;
  std::vector<std::string> problems_;
};

}  // namespace agent::spf::security
