#pragma once

#include <memory>
#include <string>

#include "RecordedEndpoint.hpp"
#include "ZeroMqTransport.hpp"
#include "agent/spf/security/SecretKey.hpp"
#include "support/TemporaryFolder.hpp"

namespace spf::test {

/// What a process of a name has: a key, a folder of the keys that it trusts, and a transport, which is made when it is
/// first used.
class Process {
 public:
  using Transport = agent::spf::frameworkinterfaces::Transport;
  using Endpoint = std::shared_ptr<RecordedEndpoint>;

  /// An endpoint and its ID.
  struct Opened {
    Transport::EndpointID id;
    Endpoint endpoint;
  };

  /// \param name  empty: its transport has no key
  explicit Process(std::string name);

  /// Trusts another process's key under its name.
  void trust(const Process& other) const { trust(other.name_, other.key_.publicKey()); }

  /// Trusts a key under a name, in the place of the one before if there is one.
  void trust(const std::string& name, const agent::spf::security::PublicKey& key) const;

  void distrust(const std::string& name) const;
  void distrust(const Process& other) const { distrust(other.name_); }

  Opened bind(const std::string& address = "tcp://127.0.0.1:*", const std::string& key = "");

  /// Binds an endpoint, and waits until it is open.
  Opened bound(const std::string& address = "tcp://127.0.0.1:*");

  /// Connects as the endpoint "client" of the name "server".
  Opened connect(const std::string& address, const std::string& key);

  /// Asks over the connection.
  std::string ask(const std::string& request);

  zeromq::ZeroMqTransport& transport();
  void stop() { transport().stop(); }
  const std::string& name() const { return name_; }
  const agent::spf::security::SecretKey& key() const { return key_; }

 private:
  const std::string name_;
  const agent::spf::security::SecretKey key_ = agent::spf::security::SecretKey::generate();
  const frameworktest::TemporaryFolder trusted_;
  std::unique_ptr<zeromq::ZeroMqTransport> transport_;
};

}  // namespace spf::test
