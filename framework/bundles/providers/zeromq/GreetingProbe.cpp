#include "GreetingProbe.hpp"

#include <cstdint>
#include <utility>

#include "messages.hpp"

namespace spf::zeromq {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::isIPv6;
using agent::spf::frameworksupport::toZeroMq;

namespace {

/// How long the peer may take to answer.
constexpr std::chrono::seconds longestTime{5};

/// More than a peer sends before it has received a whole greeting.
constexpr std::int64_t largestPart = 1024;

// The greeting of version 3: a signature, the version, and the mechanism's name, which is filled up with NULs.
const std::string signatureAndVersion("\xff\0\0\0\0\0\0\0\1\x7f\3", 11);
constexpr std::size_t flagPosition = 9;
constexpr std::size_t versionPosition = 10;
constexpr std::size_t mechanismPosition = 12;
constexpr std::size_t mechanismSize = 20;

}  // namespace

std::optional<bool> saysNoEncryption(const std::string& greeting) {
  const auto differs = [&](std::size_t position, auto isRight) {
    return position < greeting.size() && !isRight(static_cast<unsigned char>(greeting[position]));
  };
  if (differs(0, [](unsigned char first) { return first == 0xff; }) ||
      differs(flagPosition, [](unsigned char flags) { return (flags & 1U) != 0; }) ||
      differs(versionPosition, [](unsigned char version) { return version >= 3; })) {
    return false;
  }
  if (greeting.size() < mechanismPosition + mechanismSize) {
    return std::nullopt;
  }
  std::string encryption = "CURVE";
  encryption.resize(mechanismSize, '\0');
  return greeting.compare(mechanismPosition, mechanismSize, encryption) != 0;
}

GreetingProbe::GreetingProbe(zmq::context_t& context, const Address& address, Clock::time_point now)
    : deadline_(now + longestTime), socket_(context, zmq::socket_type::stream) {
  socket_.set(zmq::sockopt::linger, 0);
  socket_.set(zmq::sockopt::reconnect_ivl, -1);
  socket_.set(zmq::sockopt::maxmsgsize, largestPart);
  socket_.set(zmq::sockopt::ipv6, isIPv6(address));
  retryInterrupted([&] { socket_.connect(toZeroMq(address)); });
}

std::optional<bool> GreetingProbe::poll(Clock::time_point now) {
  int budget = framesPerRound;
  while (auto message = receiveMessage(socket_, budget)) {
    // The name of the connection and bytes; none when the connection begins or ends.
    if (message->size() != 2 || (isConnected_ && message->back().empty())) {
      return false;
    }
    greeting_ += message->back().to_string_view();
    if (!std::exchange(isConnected_, true)) {
      message->back() = zmq::message_t(signatureAndVersion);
      sendMessage(socket_, std::move(*message));
    }
    if (const auto outcome = saysNoEncryption(greeting_)) {
      return outcome;
    }
  }
  return deadline_ <= now ? std::make_optional(false) : std::nullopt;
}

}  // namespace spf::zeromq
