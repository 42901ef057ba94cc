#pragma once

#include <string>

#include "support/TemporaryFolder.hpp"

namespace etcdtest {

/// Returns why this machine makes no certificates; empty if it does. A test that gets a text is skipped with it.
std::string whyNoCertificates();

/// Certificates that openssl has made, with their keys, in a folder of their own. They are valid for two days.
///
/// - `ca`: the authority that has signed what follows
/// - `server`: of a member at this process's address
/// - `client`: of a client. It has no common name, since the gateway of a member with users refuses one.
/// - `stranger`: an authority of its own
class Certificates {
 public:
  /// \throws std::runtime_error  naming the command that fails
  Certificates();

  /// Returns the PEM file of a certificate.
  std::string certificate(const std::string& name) const { return folder_.path() + "/" + name + ".pem"; }

  /// Returns the PEM file of a certificate's key.
  std::string key(const std::string& name) const { return folder_.path() + "/" + name + ".key"; }

 private:
  void makeAuthority(const std::string& name) const;
  void sign(const std::string& name, const std::string& extensions) const;
  void run(const std::string& command) const;

  const frameworktest::TemporaryFolder folder_;
};

}  // namespace etcdtest
