#pragma once

#include <cstddef>

/// What hosts and clients of the control socket agree on. docs/control-socket.md describes it for other programs.
namespace spfctl::protocol {

inline constexpr int version = 1;

/// The longest request, in bytes: room for any configuration file that is not made to stall a host.
inline constexpr std::size_t longestRequest = 8U << 20U;

/// How many clients a host serves at once.
inline constexpr std::size_t mostClients = 256;

}  // namespace spfctl::protocol
