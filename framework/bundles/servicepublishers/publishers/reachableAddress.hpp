#pragma once

#include <optional>
#include <string>

#include <ifaddrs.h>

namespace spf::publishers {

/// Returns a host in the form that addresses contain: a number of IPv6 in brackets.
/// \param host  a number, with or without brackets, or a name
/// \throws std::runtime_error if peers cannot connect to such a host
std::string advertisedHost(const std::string& host);

/// Returns the address at which peers can reach a bound socket.
///
/// Its host is the advertised one if there is one, else the one that is bound. If that stands for all of the machine,
/// it is replaced by the first of the machine's addresses that the socket listens at and other machines can reach; if
/// there is none, by the loopback address.
/// \param bound       the address that the socket has got
/// \param advertised  the result of `advertisedHost`, or empty
/// \param interfaces  the addresses of the machine, as `getifaddrs` lists them
/// \return nothing if the address is not one of `tcp`
std::optional<std::string> reachableAddress(const std::string& bound, const std::string& advertised,
                                            const ifaddrs* interfaces);

/// Returns the address at which peers can reach a bound socket of this machine.
std::optional<std::string> reachableAddress(const std::string& bound, const std::string& advertised);

}  // namespace spf::publishers
