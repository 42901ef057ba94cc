#include "agent/spf/frameworksupport/Address.hpp"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <arpa/inet.h>
#include <net/if.h>

namespace agent::spf::frameworksupport {

namespace {

constexpr auto separator = "://";
constexpr auto anyHost = "*";
constexpr std::size_t mappedPrefix = 12;  // bytes of ::ffff:0:0/96

[[noreturn]] void refuse(const std::string& text, const std::string& expected) {
  throw std::runtime_error("malformed address '" + text + "'; expected " + expected);
}

// C strings end at a NUL: ZeroMQ and the kernel would open another address than the reported one.
void refuseNul(const std::string& text) {
  if (text.find('\0') != std::string::npos) {
    refuse(printable(text), "no NUL character");
  }
}

Scheme parseScheme(const std::string& scheme, const std::string& text) {
  if (scheme == "tcp") {
    return Scheme::tcp;
  }
  if (scheme == "ipc") {
    return Scheme::ipc;
  }
  if (scheme == "inproc") {
    return Scheme::inproc;
  }
  throw std::runtime_error("unsupported scheme '" + scheme + "' of address '" + text +
                           "'; expected tcp, ipc or inproc");
}

// ZeroMQ takes larger ports modulo 65536: the socket would listen at another port than the configured one.
std::uint16_t parsePort(const std::string& port, const std::string& text) {
  if (port == "*") {
    return 0;
  }
  const bool number = !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
  if (!number || std::stoi(port) > 65535) {
    refuse(text, "'tcp://<host>:<port>' with a port up to 65535");
  }
  return static_cast<std::uint16_t>(std::stoi(port));
}

void parseTcp(const std::string& rest, Address& address) {
  const auto semicolon = rest.rfind(';');
  const auto target = semicolon == std::string::npos ? rest : rest.substr(semicolon + 1);
  address.source = rest.substr(0, rest.size() - target.size());
  const auto colon = target.rfind(':');
  address.port = parsePort(colon == std::string::npos ? "" : target.substr(colon + 1), address.text);
  address.where = target.substr(0, colon);
  const auto size = address.where.size();
  address.bracketed = size >= 2 && address.where.front() == '[' && address.where.back() == ']';
  if (address.bracketed) {
    address.where = address.where.substr(1, size - 2);
  }
  if (address.where.empty()) {
    refuse(address.text, "'tcp://<host>:<port>' with a host");
  }
}

HostBytes mapped(const in_addr& host) {
  HostBytes bytes{};
  bytes[10] = bytes[11] = 0xff;
  std::memcpy(bytes.data() + mappedPrefix, &host, sizeof(host));
  return bytes;
}

std::optional<HostBytes> numericHost(const Address& address) {
  if (address.where == anyHost) {
    return address.bracketed ? HostBytes{} : mapped(in_addr{INADDR_ANY});
  }
  in_addr four{};
  if (inet_pton(AF_INET, address.where.c_str(), &four) == 1) {
    return mapped(four);
  }
  HostBytes six{};
  const auto withoutZone = address.where.substr(0, address.where.find('%'));
  if (inet_pton(AF_INET6, withoutZone.c_str(), six.data()) == 1) {
    return six;
  }
  return std::nullopt;
}

bool isIPv4Only(const HostBytes& host) {
  const auto prefix = mapped(in_addr{INADDR_ANY});
  return std::equal(prefix.begin(), prefix.begin() + mappedPrefix, host.begin());
}

bool isAny(const HostBytes& host) {
  return host == HostBytes{} || host == mapped(in_addr{INADDR_ANY});
}

bool mayOverlap(const HostBytes& left, const HostBytes& right) {
  if (left == right || left == HostBytes{} || right == HostBytes{}) {
    return true;  // ZeroMQ's sockets for any IPv6 host accept IPv4 as well
  }
  return (isAny(left) || isAny(right)) && isIPv4Only(left) == isIPv4Only(right);
}

// A folder may have several names, by links and dots, so it is made canonical. The last name is left to the kernel.
std::string absolutePath(const std::string& path) {
  if (path.front() == '@') {
    return path;  // an abstract name of the kernel, no file
  }
  std::error_code unreadable;
  const auto absolute = std::filesystem::absolute(path, unreadable);
  const auto folder = std::filesystem::weakly_canonical(absolute.parent_path(), unreadable);
  return unreadable ? path : (folder / absolute.filename()).string();
}

}  // namespace

std::string printable(const std::string& text) {
  std::string shown;
  for (const char character : text) {
    shown += character == '\0' ? std::string("\\0") : std::string(1, character);
  }
  return shown;
}

Address parseAddress(const std::string& text) {
  refuseNul(text);
  const auto end = text.find(separator);
  if (end == std::string::npos || end == 0 || end + std::strlen(separator) == text.size()) {
    refuse(text, "'<scheme>://<where>'");
  }
  Address address;
  address.text = text;
  address.scheme = parseScheme(text.substr(0, end), text);
  address.where = text.substr(end + std::strlen(separator));
  if (address.scheme == Scheme::tcp) {
    parseTcp(std::string(address.where), address);
  }
  return address;
}

bool isWildcard(const Address& address) {
  switch (address.scheme) {
    case Scheme::tcp:
      return address.port == 0;
    case Scheme::ipc:
      return address.where.front() == '*';
    default:
      return false;
  }
}

bool hasUnresolvedHost(const Address& address, InterfaceNames interfaces) {
  if (address.scheme != Scheme::tcp || numericHost(address)) {
    return false;
  }
  return interfaces == InterfaceNames::unknown || if_nametoindex(address.where.c_str()) == 0;
}

bool isIPv6(const Address& address) {
  const auto host = address.scheme == Scheme::tcp ? numericHost(address) : std::nullopt;
  return address.bracketed || (host && !isIPv4Only(*host));
}

std::string toZeroMq(const Address& address) {
  if (address.scheme == Scheme::inproc) {
    return "inproc://endpoint/" + address.where;
  }
  if (address.scheme == Scheme::ipc) {
    return "ipc://" + address.where;
  }
  const auto host = isIPv6(address) ? "[" + address.where + "]" : address.where;
  return "tcp://" + address.source + host + ":" + (address.port == 0 ? "*" : std::to_string(address.port));
}

std::optional<Place> placeOf(const Address& address) {
  if (isWildcard(address)) {
    return std::nullopt;
  }
  switch (address.scheme) {
    case Scheme::tcp:
      return Place{Scheme::tcp, numericHost(address), address.port, ""};
    case Scheme::ipc:
      return Place{Scheme::ipc, std::nullopt, 0, absolutePath(address.where)};
    default:
      return Place{Scheme::inproc, std::nullopt, 0, address.where};
  }
}

bool mayCollide(const Place& left, const Place& right) {
  if (left.scheme != right.scheme) {
    return false;
  }
  if (left.scheme != Scheme::tcp) {
    return left.name == right.name;
  }
  return left.port == right.port && (!left.host || !right.host || mayOverlap(*left.host, *right.host));
}

}  // namespace agent::spf::frameworksupport
