#include "GreetingProbe.hpp"

#include <array>
#include <cerrno>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace spf::zeromq {

namespace {

// A greeting: 10 bytes of signature, the version's two, 20 of the mechanism padded with NULs, and others.
constexpr std::size_t greetingSize = 64;
constexpr std::size_t majorVersion = 10;
constexpr std::size_t mechanismBegin = 12;
constexpr std::size_t mechanismSize = 20;

/// How much of its greeting a peer has to receive before it sends all of its own: up to the major version.
constexpr std::size_t headSize = 11;

std::string greetingOf(const std::string& mechanism) {
  std::string greeting("\xff\0\0\0\0\0\0\0\1\x7f\3\0", mechanismBegin);
  greeting += mechanism;
  greeting.resize(greetingSize, '\0');
  return greeting;
}

bool isGreeting(const std::string& bytes) {
  return bytes.front() == '\xff' && (bytes[majorVersion - 1] & 1) != 0 && bytes[majorVersion] >= 3;
}

}  // namespace

GreetingProbe::GreetingProbe(const agent::spf::frameworksupport::Address& address, std::string mechanism,
                             Clock::time_point now)
    : mechanism_(std::move(mechanism)), connecting_(address, now, Probe::Connection::keep) {}

GreetingProbe::~GreetingProbe() {
  if (connection_ >= 0) {
    close(connection_);
  }
}

std::optional<GreetingProbe::Outcome> GreetingProbe::poll(Clock::time_point now) {
  if (!outcome_ && connection_ < 0) {
    greet();
  }
  if (!outcome_ && connection_ >= 0) {
    receive();
  }
  if (!outcome_ && deadline() <= now) {
    outcome_ = Outcome::unknown;
  }
  return outcome_;
}

void GreetingProbe::greet() {
  const auto connected = connecting_.poll(Clock::now());
  if (!connected) {
    return;
  }
  connection_ = connecting_.release();
  if (connection_ < 0 || !send(greetingOf(mechanism_).substr(0, headSize))) {
    outcome_ = Outcome::unknown;
  }
}

void GreetingProbe::receive() {
  std::array<char, greetingSize> bytes{};
  while (received_.size() < greetingSize) {
    const auto size = recv(connection_, bytes.data(), greetingSize - received_.size(), 0);
    if (size > 0) {
      received_.append(bytes.data(), static_cast<std::size_t>(size));
    } else if (size == 0 || (errno != EINTR && errno != EAGAIN)) {
      outcome_ = Outcome::unknown;
      return;
    } else if (errno == EAGAIN) {
      return;
    }
  }
  judge();
}

void GreetingProbe::judge() {
  if (!isGreeting(received_)) {
    outcome_ = Outcome::unknown;
    return;
  }
  const std::string padded = received_.substr(mechanismBegin, mechanismSize);
  if (padded.substr(0, padded.find('\0')) == mechanism_) {
    outcome_ = Outcome::sameMechanism;
    return;
  }
  outcome_ = Outcome::otherMechanism;
  send(greetingOf(mechanism_).substr(headSize));
}

bool GreetingProbe::send(const std::string& bytes) const {
  return ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

}  // namespace spf::zeromq
