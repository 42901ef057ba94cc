#include "Probe.hpp"

#include <cerrno>
#include <memory>
#include <system_error>

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>
#include "LocalAddress.hpp"

namespace spf::zeromq {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::Scheme;

namespace {

/// How long the peer's machine may take to answer.
constexpr std::chrono::seconds longestTime{5};

using AddressList = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

/// Converts a numeric host, without a look-up.
/// \return null if the host is not numeric
AddressList convert(const std::string& host, const std::string& port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
  return {result == 0 ? found : nullptr, freeaddrinfo};
}

/// Returns the host of a source address, `host:port;` or `host;`.
std::string hostOfSource(std::string source) {
  source.pop_back();
  const auto colon = source.rfind(':');
  const bool isPort = colon != std::string::npos && source.find(']', colon) == std::string::npos;
  std::string host = isPort ? source.substr(0, colon) : source;
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  return host;
}

}  // namespace

Probe::Probe(const Address& address, Clock::time_point now, Connection connection)
    : deadline_(now + longestTime), keepsConnection_(connection == Connection::keep) {
  if (address.scheme == Scheme::tcp) {
    connectTcp(address);
  } else {
    connectLocal(address.where);
  }
}

Probe::~Probe() {
  for (const int descriptor : {descriptor_, connection_}) {
    if (descriptor >= 0) {
      close(descriptor);
    }
  }
}

std::optional<Probe::Outcome> Probe::poll(Clock::time_point now) {
  if (outcome_) {
    return outcome_;
  }
  pollfd item{descriptor_, POLLOUT, 0};
  if (::poll(&item, 1, 0) > 0) {
    int error = 0;
    socklen_t size = sizeof(error);
    getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &error, &size);
    finish(error, /*isPermanent=*/error == EACCES);
  } else if (deadline_ <= now) {
    finish(ETIMEDOUT, /*isPermanent=*/false);
  }
  return outcome_;
}

void Probe::connectTcp(const Address& address) {
  const AddressList target = convert(address.where, std::to_string(address.port));
  if (!target) {
    finish(EAFNOSUPPORT, /*isPermanent=*/false);
    return;
  }
  if (open(target->ai_family) && bindSource(address.source, target->ai_family)) {
    connectTo(target->ai_addr, target->ai_addrlen);
  }
}

void Probe::connectLocal(const std::string& path) {
  try {
    const LocalAddress target = toLocalAddress(path);
    if (open(AF_UNIX)) {
      connectTo(target.get(), target.size);
    }
  } catch (const std::system_error& error) {
    finish(error.code().value(), /*isPermanent=*/true);
  }
}

/// Binds the source address of a connection, which has to be one of this machine, with any port: the configured one is
/// ZeroMQ's.
bool Probe::bindSource(const std::string& source, int family) {
  const AddressList own = source.empty() ? AddressList(nullptr, freeaddrinfo) : convert(hostOfSource(source), "0");
  if (!own || own->ai_family != family) {
    return true;
  }
  if (bind(descriptor_, own->ai_addr, own->ai_addrlen) == 0) {
    return true;
  }
  finish(errno, /*isPermanent=*/errno == EADDRNOTAVAIL || errno == EACCES);
  return false;
}

bool Probe::open(int family) {
  descriptor_ = socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor_ < 0) {
    finish(errno, /*isPermanent=*/false);
  }
  return descriptor_ >= 0;
}

void Probe::connectTo(const void* address, unsigned int size) {
  if (connect(descriptor_, static_cast<const sockaddr*>(address), size) == 0) {
    finish(0, /*isPermanent=*/false);
  } else if (errno != EINPROGRESS) {
    finish(errno, /*isPermanent=*/errno == EACCES);
  }
}

void Probe::finish(int error, bool isPermanent) {
  outcome_ = Outcome{error == 0 ? "" : std::generic_category().message(error), isPermanent};
  const int descriptor = std::exchange(descriptor_, -1);
  if (error == 0 && keepsConnection_) {
    connection_ = descriptor;
  } else if (descriptor >= 0) {
    close(descriptor);
  }
}

}  // namespace spf::zeromq
