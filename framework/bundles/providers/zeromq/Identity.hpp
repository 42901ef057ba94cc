#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "agent/spf/security/SecretKey.hpp"
#include "agent/spf/security/TrustFolder.hpp"

namespace spf::zeromq {

/// What a process proves who it is with, and whom it trusts. A transport that has one encrypts and authenticates every
/// connection by `tcp`.
struct Identity {
  /// \param secretKey    of this process
  /// \param trustFolder  of the public keys that are trusted
  /// \param warning      called with each new problem of the folder, by the thread that constructs and later by one of
  ///                     the transport; may be empty
  /// \throws agent::spf::security::KeyFileError if the folder cannot be read
  Identity(agent::spf::security::SecretKey secretKey, std::filesystem::path trustFolder,
           std::function<void(const std::string&)> warning)
      : key(std::move(secretKey)),
        trust(std::make_shared<agent::spf::security::TrustFolder>(std::move(trustFolder), std::move(warning))) {}

  agent::spf::security::SecretKey key;

  /// Shared, since a thread that reads it may outlive the transport.
  std::shared_ptr<agent::spf::security::TrustFolder> trust;
};

}  // namespace spf::zeromq
