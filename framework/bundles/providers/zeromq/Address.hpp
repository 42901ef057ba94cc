#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace spf::zeromq {

enum class Scheme { tcp, ipc, inproc };

/// An endpoint's address, taken apart.
struct Address {
  Scheme scheme = Scheme::tcp;
  std::string text;        ///< as it was configured
  std::string source;      ///< tcp: where a connection starts, with the semicolon; mostly empty
  std::string where;       ///< tcp: the host, without brackets; ipc: the path; inproc: the name
  bool bracketed = false;  ///< tcp: the host stood in brackets
  std::uint16_t port = 0;  ///< tcp: 0 stands for any free port
};

/// A text for a message, which a NUL would cut off.
std::string printable(const std::string& text);

/// \throws std::runtime_error naming the address and what was expected
Address parseAddress(const std::string& text);

/// Whether binding chooses a free place: such an address collides with nothing.
bool isWildcard(const Address& address);

/// Whether the host has to be looked up before the address can be bound or connected to. Names of
/// network interfaces count as known where they are `usable`: for binds only.
enum class InterfaceNames { usable, unknown };
bool needsLookUp(const Address& address, InterfaceNames interfaces);

/// Whether ZeroMQ has to use IPv6 for the address.
bool usesIPv6(const Address& address);

/// The address in ZeroMQ's spelling. Names of `inproc` addresses get a prefix, so that none collides
/// with the transport's own ones.
std::string toZeroMq(const Address& address);

/// A host as 16 bytes, those of IPv4 mapped to IPv6.
using HostBytes = std::array<std::uint8_t, 16>;

/// The part of the machine that a bound address occupies.
struct Place {
  Scheme scheme;
  std::optional<HostBytes> host;  ///< tcp; nothing when it is known to ZeroMQ only
  std::uint16_t port = 0;         ///< tcp
  std::string name;               ///< ipc: the absolute path; inproc: the name
};

/// \return nothing for a wildcard
std::optional<Place> placeOf(const Address& address);

/// Whether two sockets cannot have both places at a time. A host that is not known overlaps with every one.
bool collide(const Place& left, const Place& right);

}  // namespace spf::zeromq
