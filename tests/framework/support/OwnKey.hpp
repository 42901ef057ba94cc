#pragma once

#include <filesystem>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include "TemporaryFolder.hpp"
#include "agent/spf/security/SecretKey.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace frameworktest {

/// A key of this process, which trusts no other one. A framework that is constructed later may use its files until its
/// end.
class OwnKey {
 public:
  explicit OwnKey(const std::string& name) : name_(name) {
    namespace security = agent::spf::security;
    secretKey_ = security::writeKeyPair(security::KeyName(name), security::SecretKey::generate(), folder_.path())
                     .secretKey.native();
    std::filesystem::create_directory(trust());
    std::filesystem::permissions(trust(), static_cast<std::filesystem::perms>(0755));
  }

  /// Returns the framework properties that name it.
  cppmicroservices::AnyMap properties() const {
    using cppmicroservices::AnyMap;
    return AnyMap(AnyMap::ORDERED_MAP,
                  {{"spf.curve.name", name_}, {"spf.curve.secret_key", secretKey_}, {"spf.curve.trust", trust()}});
  }

 private:
  std::string trust() const { return folder_.path() + "/trust"; }

  const TemporaryFolder folder_;
  const std::string name_;
  std::string secretKey_;
};

}  // namespace frameworktest
