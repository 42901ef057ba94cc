#include "control/RawClient.hpp"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <stdexcept>

#include "spf/test/Gate.hpp"

namespace spf::test {

RawClient::RawClient(const std::filesystem::path& path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const auto reason = std::string(std::strerror(errno));
    close(socket_);
    throw std::runtime_error(reason);
  }
}

RawClient::~RawClient() {
  close(socket_);
}

bool RawClient::send(const std::string& bytes) const {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const auto count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
      return false;
    }
    sent += static_cast<std::size_t>(count);
  }
  return true;
}

bool RawClient::request(const std::string& name) const {
  return send(R"({"version":1,"request":")" + name + "\"}\n");
}

std::optional<std::string> RawClient::readLine() {
  for (;;) {
    const auto end = received_.find('\n');
    if (end != std::string::npos) {
      auto line = received_.substr(0, end);
      received_.erase(0, end + 1);
      return line;
    }
    if (!readSome()) {
      return std::nullopt;
    }
  }
}

bool RawClient::readSome() {
  pollfd descriptor{socket_, POLLIN, 0};
  if (poll(&descriptor, 1, std::chrono::milliseconds(patience).count()) != 1) {
    return false;
  }
  std::array<char, 65536> buffer{};
  const auto count = recv(socket_, buffer.data(), buffer.size(), 0);
  isAtEnd_ = count <= 0;
  received_.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
  return !isAtEnd_;
}

void RawClient::endSending() const {
  shutdown(socket_, SHUT_WR);
}

bool RawClient::isClosedByHost() {
  while (readSome()) {
    received_.clear();
  }
  return isAtEnd_;
}

}  // namespace spf::test
