#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace agent::spf::frameworksupport {

enum class Scheme { tcp, ipc, inproc };

/// A parsed address of an endpoint.
struct Address {
  Scheme scheme = Scheme::tcp;  ///< the transport
  std::string text;             ///< as it was configured
  std::string source;           ///< tcp: the source address of a connection, with the semicolon; usually empty
  std::string where;            ///< tcp: the host, without brackets; ipc: the path; inproc: the name
  bool bracketed = false;       ///< tcp: the host was given in brackets
  std::uint16_t port = 0;       ///< tcp: 0 stands for any free port
};

/// Returns a text for a message: a NUL, which would truncate it, is replaced.
std::string printable(const std::string& text);

/// Parses an address.
/// \throws std::runtime_error naming the address and what was expected
Address parseAddress(const std::string& text);

/// Returns whether binding chooses a free place. Such an address collides with no other.
bool isWildcard(const Address& address);

/// Whether names of network interfaces may stand for a host: for bound addresses only.
enum class InterfaceNames { usable, unknown };

/// Returns whether the host has to be looked up before the address can be bound or connected to.
bool hasUnresolvedHost(const Address& address, InterfaceNames interfaces);

/// Returns whether ZeroMQ has to use IPv6 for the address.
bool isIPv6(const Address& address);

/// Returns the address in ZeroMQ's spelling. Names of `inproc` addresses are prefixed, so that they do not collide with
/// the transport's own.
std::string toZeroMq(const Address& address);

/// A host as 16 bytes; those of IPv4 are mapped to IPv6.
using HostBytes = std::array<std::uint8_t, 16>;

/// The part of the machine that a bound address occupies.
struct Place {
  Scheme scheme;                  ///< the transport
  std::optional<HostBytes> host;  ///< tcp; nothing if only ZeroMQ knows it
  std::uint16_t port = 0;         ///< tcp
  std::string name;               ///< ipc: the absolute path; inproc: the name
};

/// Returns the place that an address occupies once it is bound; nothing for a wildcard.
std::optional<Place> placeOf(const Address& address);

/// Returns whether two sockets may be unable to occupy both places at the same time. An unknown host overlaps with
/// every other.
bool mayCollide(const Place& left, const Place& right);

}  // namespace agent::spf::frameworksupport
