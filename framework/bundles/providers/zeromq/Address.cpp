#include "Address.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace spf::zeromq {

namespace {

constexpr auto separator = "://";

/// The path of an `ipc` address as the system's socket functions take it; 0: it has none.
socklen_t toSocketAddress(const std::string& path, sockaddr_un& address) {
  if (path.empty() || path == "*" || path.size() >= sizeof(address.sun_path)) {
    return 0;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  if (path.front() != '@') {
    return static_cast<socklen_t>(sizeof(address));
  }
  address.sun_path[0] = '\0';  // a name in the kernel's own table, no file
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
}

// ZeroMQ takes a port that is too large modulo 65536: a socket would come up where nobody asked for it.
void checkPort(const std::string& address) {
  const auto port = address.substr(address.rfind(':') + 1);
  const bool wildcard = port == "*" || port == "!";
  const bool number = !port.empty() && port.size() <= 5 && port.find_first_not_of("0123456789") == std::string::npos;
  if (!wildcard && (!number || std::stoi(port) > 65535)) {
    throw std::runtime_error("malformed address '" + address +
                             "'; expected 'tcp://<host>:<port>' with a port up to 65535");
  }
}

}  // namespace

Scheme schemeOf(const std::string& address) {
  const auto end = address.find(separator);
  if (end == std::string::npos || end == 0 || end + std::strlen(separator) == address.size()) {
    throw std::runtime_error("malformed address '" + address + "'; expected '<scheme>://<where>'");
  }
  const std::string scheme = address.substr(0, end);
  if (scheme == "tcp") {
    checkPort(address);
    return Scheme::tcp;
  }
  if (scheme == "ipc") {
    return Scheme::ipc;
  }
  if (scheme == "inproc") {
    return Scheme::inproc;
  }
  throw std::runtime_error("unsupported scheme '" + scheme + "' of address '" + address +
                           "'; expected tcp, ipc or inproc");
}

bool isServed(const std::string& ipcAddress) {
  sockaddr_un address{};
  const socklen_t size = toSocketAddress(ipcAddress.substr(std::strlen("ipc://")), address);
  if (size == 0) {
    return false;
  }
  const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (probe < 0) {
    return false;
  }
  const bool accepted = connect(probe, reinterpret_cast<const sockaddr*>(&address), size) == 0 || errno == EAGAIN;
  close(probe);
  return accepted;
}

}  // namespace spf::zeromq
