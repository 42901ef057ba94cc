#include "RawConnection.hpp"

#include <array>
#include <cerrno>
#include <utility>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>
#include "spf/test/Gate.hpp"

namespace spf::test {

RawConnection::RawConnection(int descriptor) : descriptor_(descriptor) {
  const timeval limit{patience.count(), 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
}

RawConnection RawConnection::to(const std::string& address) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto host = address.substr(6, address.rfind(':') - 6);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))));
  inet_pton(AF_INET, host.c_str(), &where.sin_addr);
  EXPECT_EQ(connect(descriptor, reinterpret_cast<const sockaddr*>(&where), sizeof(where)), 0) << address;
  return RawConnection(descriptor);
}

RawConnection::RawConnection(RawConnection&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), received_(std::move(other.received_)) {}

RawConnection::~RawConnection() {
  close();
}

void RawConnection::close() {
  if (descriptor_ >= 0) {
    ::close(std::exchange(descriptor_, -1));
  }
}

// The other side may have hung up already.
void RawConnection::send(const std::string& bytes) const {
  [[maybe_unused]] const auto sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string RawConnection::receiveOnce() const {
  std::array<char, 256> buffer{};
  const auto count = recv(descriptor_, buffer.data(), buffer.size(), 0);
  return {buffer.data(), static_cast<std::size_t>(count < 0 ? 0 : count)};
}

bool RawConnection::hasReceived(const std::string& text) {
  std::array<char, 256> buffer{};
  while (received_.find(text) == std::string::npos) {
    const auto count = recv(descriptor_, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
      return false;
    }
    received_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return true;
}

bool RawConnection::isDisconnected() {
  std::array<char, 256> buffer{};
  ssize_t count = 0;
  while ((count = recv(descriptor_, buffer.data(), buffer.size(), 0)) > 0) {
    received_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return count == 0 || errno == ECONNRESET;
}

RawServer::RawServer() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof(where);
  EXPECT_EQ(bind(descriptor_, reinterpret_cast<const sockaddr*>(&where), size), 0);
  EXPECT_EQ(listen(descriptor_, 16), 0);
  EXPECT_EQ(getsockname(descriptor_, reinterpret_cast<sockaddr*>(&where), &size), 0);
  const timeval limit{patience.count(), 0};
  setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
  address_ = "tcp://127.0.0.1:" + std::to_string(ntohs(where.sin_port));
}

RawServer::~RawServer() {
  close(descriptor_);
}

RawConnection RawServer::accept() const {
  const int descriptor = ::accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC);
  EXPECT_GE(descriptor, 0);
  return RawConnection(descriptor);
}

std::string zmtp3Greeting(int minor, const std::string& mechanism) {
  std::string greeting("\xff\0\0\0\0\0\0\0\1\x7f\3", 11);
  greeting += static_cast<char>(minor);
  greeting += mechanism;
  greeting.resize(64, '\0');
  return greeting;
}

std::string property(const std::string& name, const std::string& value) {
  std::string text(1, static_cast<char>(name.size()));
  text += name;
  text += std::string(3, '\0');
  text += static_cast<char>(value.size());
  return text + value;
}

std::string readyCommand(const std::string& properties) {
  const auto ready = "\5READY" + properties;
  return std::string{4, static_cast<char>(ready.size())} + ready;
}

std::string frame(const std::string& content, bool more) {
  return std::string{static_cast<char>(more ? 1 : 0), static_cast<char>(content.size())} + content;
}

}  // namespace spf::test
