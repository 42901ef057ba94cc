#pragma once

#include <map>
#include <string>
#include <vector>

#include "Certificates.hpp"
#include "EtcdProcess.hpp"
#include "support/TemporaryFolder.hpp"

namespace etcdtest {

/// A member that speaks nothing but TLS, and has users:
///
/// - `host`, who may read and write what begins with `/spf/`
/// - `reader`, who may only read it
class SecuredEtcd {
 public:
  using Properties = std::map<std::string, std::string>;

  /// Whether clients have to have certificates.
  enum class Clients { certified, any };

  static constexpr auto passwordOfHost = "Sesame-42-of-the-host";
  static constexpr auto passwordOfReader = "Sesame-43-of-the-reader";

  /// Returns why this machine cannot have one; empty if it can.
  static std::string whyNone();

  /// Starts the member, waits until it serves clients, and makes the users.
  /// \param arguments  further ones of the member
  /// \throws std::runtime_error  if that fails
  explicit SecuredEtcd(Clients clients = Clients::certified, const std::vector<std::string>& arguments = {});

  /// Returns the framework properties of a host that may use it as `host`.
  Properties properties() const;

  /// Writes a file with a password, for the property of that name. \return its name
  std::string passwordFile(const std::string& password) const;

  EtcdProcess& member() noexcept { return member_; }
  const EtcdProcess& member() const noexcept { return member_; }
  const Certificates& certificates() const noexcept { return certificates_; }

 private:
  EtcdOptions options(Clients clients, const std::vector<std::string>& arguments) const;

  const frameworktest::TemporaryFolder folder_;
  const Certificates certificates_;
  EtcdProcess member_;
};

}  // namespace etcdtest
