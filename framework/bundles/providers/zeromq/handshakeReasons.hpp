#pragma once

/// Why handshakes fail and connections end, as listeners get it.
namespace spf::zeromq {

// Bound endpoints:
inline constexpr auto unknownKey = "key unknown";
inline constexpr auto handshakeFailed = "handshake failed";

// Connections. More cannot be known: the peer hangs up without a word.
inline constexpr auto refusedByPeer = "refused";
inline constexpr auto brokenOff = "handshake broken off (wrong server key, or not a peer)";

// Both:
inline constexpr auto noEncryption = "no encryption";
inline constexpr auto keyNoLongerTrusted = "a key is no longer trusted";

}  // namespace spf::zeromq
