#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/spf/security/PublicKey.hpp"
#include "agent/spf/security/TrustedKeys.hpp"

/// The judgement of handshakes: requests and replies of ZeroMQ's authentication protocol (ZAP 1.0), through which
/// ZeroMQ asks whether a peer that has proved a key is let in.
namespace spf::zeromq {

/// The reply to one request.
struct Judgement {
  /// Returns the reply's frames.
  std::vector<std::string> frames() const;

  std::string requestID;
  std::string domain;  ///< of the socket that the peer has connected to
  int status = 0;      ///< one of the codes below
  std::string text;    ///< of the status
  std::string user;    ///< the name of the key; empty if the peer is refused

  /// The key that was accepted.
  std::optional<agent::spf::security::PublicKey> key;
};

// The protocol's codes.
inline constexpr int peerAccepted = 200;
inline constexpr int tryAgainLater = 300;
inline constexpr int keyUnknown = 400;
inline constexpr int requestRefused = 500;

/// Judges a request: a peer is let in if its key is trusted, and refused in any other case, also if the request is not
/// as ZeroMQ sends it.
/// \param request  the frames: version, request ID, domain, the peer's address and identity, mechanism, credentials
Judgement judgeHandshake(const std::vector<std::string>& request, const agent::spf::security::TrustedKeys& trusted);

/// Returns a reply that refuses the same request.
Judgement refuse(Judgement judgement, int status, const std::string& text);

}  // namespace spf::zeromq
