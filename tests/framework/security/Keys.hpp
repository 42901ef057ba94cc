#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include "agent/spf/security/PublicKey.hpp"
#include "agent/spf/security/SecretKey.hpp"
#include "support/TemporaryFolder.hpp"

namespace spf::test {

/// The 40 characters of a secret key, which only a test may see.
std::string secretText(const agent::spf::security::SecretKey& key);

/// Returns whether a message holds a part of a secret, eight characters or more.
bool reveals(const std::string& message, const std::string& secret);

/// A pair of keys, and a folder for files.
class WithKeys : public testing::Test {
 protected:
  WithKeys();
  ~WithKeys() override;

  /// Writes a file, readable for its owner only. \return its full name
  std::string write(const std::string& file, const std::string& content) const;

  std::string path(const std::string& file) const { return folder_.path() + "/" + file; }

  /// Returns the message of what a function throws, which reveals nothing of the secret key.
  std::string refusal(const std::function<void()>& function) const;

  const frameworktest::TemporaryFolder folder_;
  const agent::spf::security::SecretKey key_ = agent::spf::security::SecretKey::generate();
  const std::string secret_ = secretText(key_);
};

/// Acts as another user as long as it lives, if the process may do that.
class AsNobody {
 public:
  AsNobody();
  ~AsNobody();
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;
};

}  // namespace spf::test
