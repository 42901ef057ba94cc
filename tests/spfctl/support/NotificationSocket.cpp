#include "NotificationSocket.hpp"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace spf::test {

NotificationSocket::NotificationSocket(const std::string& name)
    : socket_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)), path_(name[0] == '@' ? "" : name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, name.c_str(), sizeof(address.sun_path) - 1);
  auto size = static_cast<socklen_t>(sizeof(address));
  if (path_.empty()) {
    address.sun_path[0] = '\0';
    size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  }
  if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), size) != 0) {
    throw std::runtime_error("cannot bind " + name);
  }
}

NotificationSocket::~NotificationSocket() {
  close(socket_);
  if (!path_.empty()) {
    unlink(path_.c_str());
  }
}

std::vector<std::string> NotificationSocket::received() {
  std::vector<std::string> messages;
  char buffer[8192];
  for (;;) {
    const auto size = recv(socket_, buffer, sizeof(buffer), MSG_DONTWAIT);
    if (size < 0) {
      return messages;
    }
    messages.emplace_back(buffer, static_cast<std::size_t>(size));
  }
}

EnvironmentVariable::EnvironmentVariable(const char* name) : name_(name), wasSet_(std::getenv(name) != nullptr) {
  previous_ = wasSet_ ? std::getenv(name) : "";
  unsetenv(name);
}

EnvironmentVariable::EnvironmentVariable(const char* name, const std::string& value) : EnvironmentVariable(name) {
  setenv(name, value.c_str(), 1);
}

EnvironmentVariable::~EnvironmentVariable() {
  if (wasSet_) {
    setenv(name_, previous_.c_str(), 1);
  } else {
    unsetenv(name_);
  }
}

}  // namespace spf::test
