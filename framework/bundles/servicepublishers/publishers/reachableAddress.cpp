#include "reachableAddress.hpp"

#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include "agent/spf/frameworksupport/Address.hpp"

namespace spf::publishers {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::printable;
using agent::spf::frameworksupport::Scheme;

namespace {

constexpr auto anyIPv4 = "0.0.0.0";
constexpr auto anyIPv6 = "::";

bool isIPv6(const std::string& host) {
  in6_addr six{};
  return inet_pton(AF_INET6, host.c_str(), &six) == 1;
}

bool isAnyHost(const std::string& host) {
  return host == "*" || host == anyIPv4 || host == anyIPv6;
}

bool isHostName(const std::string& host) {
  constexpr auto allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789.-_";
  return !host.empty() && host.find_first_not_of(allowed) == std::string::npos;
}

std::string bracketed(const std::string& host) {
  return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

/// The socket address may not be aligned for its own type.
template <class SocketAddress>
SocketAddress copyOf(const sockaddr* address) {
  SocketAddress copy{};
  std::memcpy(&copy, address, sizeof(copy));
  return copy;
}

std::optional<std::string> reachableIPv4(const sockaddr* address) {
  const auto host = copyOf<sockaddr_in>(address).sin_addr;
  const auto number = ntohl(host.s_addr);
  const bool isLoopback = number >> 24 == 127;
  const bool isLinkLocal = number >> 16 == 0xa9fe;
  char text[INET_ADDRSTRLEN] = "";
  if (isLoopback || isLinkLocal || number == INADDR_ANY || !inet_ntop(AF_INET, &host, text, sizeof(text))) {
    return std::nullopt;
  }
  return text;
}

std::optional<std::string> reachableIPv6(const sockaddr* address) {
  const auto host = copyOf<sockaddr_in6>(address).sin6_addr;
  char text[INET6_ADDRSTRLEN] = "";
  if (IN6_IS_ADDR_LOOPBACK(&host) || IN6_IS_ADDR_LINKLOCAL(&host) || IN6_IS_ADDR_UNSPECIFIED(&host) ||
      !inet_ntop(AF_INET6, &host, text, sizeof(text))) {
    return std::nullopt;
  }
  return text;
}

/// Returns the first host that other machines can reach.
/// \param bound  the host that the socket is bound to: all of IPv4, or all of both families
std::optional<std::string> firstReachable(const ifaddrs* interfaces, const std::string& bound) {
  for (const ifaddrs* entry = interfaces; entry != nullptr; entry = entry->ifa_next) {
    if (entry->ifa_addr == nullptr || (entry->ifa_flags & IFF_UP) == 0 || (entry->ifa_flags & IFF_LOOPBACK) != 0) {
      continue;
    }
    std::optional<std::string> host;
    if (entry->ifa_addr->sa_family == AF_INET) {
      host = reachableIPv4(entry->ifa_addr);
    } else if (entry->ifa_addr->sa_family == AF_INET6 && bound == anyIPv6) {
      host = reachableIPv6(entry->ifa_addr);
    }
    if (host) {
      return host;
    }
  }
  return std::nullopt;
}

/// Returns nothing for addresses of other schemes, also of a transport's own.
std::optional<Address> tcpAddress(const std::string& bound) {
  try {
    auto address = parseAddress(bound);
    return address.scheme == Scheme::tcp ? std::optional(std::move(address)) : std::nullopt;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

bool needsInterfaces(const std::string& bound, const std::string& advertised) {
  const auto address = advertised.empty() ? tcpAddress(bound) : std::nullopt;
  return address && isAnyHost(address->where);
}

std::string reachableHost(const std::string& bound, const ifaddrs* interfaces) {
  if (!isAnyHost(bound)) {
    return bound;
  }
  return firstReachable(interfaces, bound).value_or(bound == anyIPv6 ? "::1" : "127.0.0.1");
}

}  // namespace

std::string advertisedHost(const std::string& host) {
  const bool hasBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  const std::string plain = hasBrackets ? host.substr(1, host.size() - 2) : host;
  if (isAnyHost(plain) || !(isIPv6(plain) || (!hasBrackets && isHostName(plain)))) {
    throw std::runtime_error("'" + printable(host) + "' is no host to connect to; expected a name or a number");
  }
  return bracketed(plain);
}

std::optional<std::string> reachableAddress(const std::string& bound, const std::string& advertised,
                                            const ifaddrs* interfaces) {
  const auto address = tcpAddress(bound);
  if (!address) {
    return std::nullopt;
  }
  const std::string host = advertised.empty() ? bracketed(reachableHost(address->where, interfaces)) : advertised;
  return "tcp://" + host + ":" + std::to_string(address->port);
}

std::optional<std::string> reachableAddress(const std::string& bound, const std::string& advertised) {
  // Listing them takes a conversation with the kernel.
  if (!needsInterfaces(bound, advertised)) {
    return reachableAddress(bound, advertised, nullptr);
  }
  ifaddrs* found = nullptr;
  if (getifaddrs(&found) != 0) {
    found = nullptr;
  }
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> interfaces(found, &freeifaddrs);
  return reachableAddress(bound, advertised, interfaces.get());
}

}  // namespace spf::publishers
