#include "supervision/ServiceManager.hpp"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "display/terminalText.hpp"

namespace spfctl {

namespace {

constexpr std::size_t widestStatus = 200;

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string_view() : value;
}

std::optional<std::int64_t> positiveNumber(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size() && number > 0;
  return isNumber ? std::optional(number) : std::nullopt;
}

// Without WATCHDOG_PID any process is meant.
bool isWatched() {
  const auto process = variable("WATCHDOG_PID");
  return process.empty() || positiveNumber(process) == getpid();
}

std::optional<std::chrono::microseconds> intervalInEnvironment() {
  const auto number = positiveNumber(variable("WATCHDOG_USEC"));
  // Added to a time of the clock, which counts nanoseconds, a greater interval would overflow.
  constexpr std::chrono::microseconds longest = std::chrono::hours(24 * 365);
  if (!number || *number > longest.count() || !isWatched()) {
    return std::nullopt;
  }
  return std::chrono::microseconds(*number);
}

// A path, or '@' and the name of an abstract socket. Returns 0, which is no size, for anything else.
socklen_t fill(sockaddr_un& address, std::string_view name) {
  if (name.size() < 2 || name.size() >= sizeof(address.sun_path) || (name[0] != '/' && name[0] != '@')) {
    return 0;
  }
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name.data(), name.size());
  const bool isAbstract = name[0] == '@';
  if (isAbstract) {
    address.sun_path[0] = '\0';
  }
  return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + (isAbstract ? 0 : 1));
}

std::string monotonicMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto time = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  return std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

}  // namespace

ServiceManager::ServiceManager() : addressSize_(fill(address_, variable("NOTIFY_SOCKET"))) {
  if (addressSize_ != 0) {
    // Opened once, so that it works without a free file descriptor, too. Not connected: the manager may bind anew.
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    interval_ = intervalInEnvironment();
  }
}

ServiceManager::~ServiceManager() {
  if (socket_ >= 0) {
    close(socket_);
  }
}

void ServiceManager::ready() {
  if (phase_ == Phase::starting || phase_ == Phase::reloading) {
    enter(Phase::ready, "READY=1");
  } else {
    sendPending();
  }
}

void ServiceManager::reloading() {
  if (phase_ == Phase::ready) {
    enter(Phase::reloading, "RELOADING=1\nMONOTONIC_USEC=" + monotonicMicroseconds());
  } else {
    sendPending();
  }
}

void ServiceManager::stopping() {
  if (phase_ != Phase::stopping) {
    enter(Phase::stopping, "STOPPING=1");
  } else {
    sendPending();
  }
}

void ServiceManager::status(const std::string& text) {
  if (socket_ >= 0) {
    auto line = cutTo(escaped(text), widestStatus);
    if (line != status_) {
      status_ = std::move(line);
      pendingStatus_ = "STATUS=" + status_;
    }
  }
  sendPending();
}

void ServiceManager::alive() {
  sendPending();
  send("WATCHDOG=1");
}

void ServiceManager::enter(Phase phase, std::string message) {
  phase_ = phase;
  pendingPhase_ = std::move(message);
  sendPending();
}

void ServiceManager::sendPending() {
  for (auto* const message : {&pendingPhase_, &pendingStatus_}) {
    if (!message->empty() && send(*message)) {
      message->clear();
    }
  }
}

// Returns whether the manager has taken the message. sd_notify(3) would wait for room in the manager's socket.
bool ServiceManager::send(std::string_view message) noexcept {
  return socket_ >= 0 && sendto(socket_, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address_), addressSize_) >= 0;
}

}  // namespace spfctl
