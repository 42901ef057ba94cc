#include "supervision/ServiceManager.hpp"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <utility>

#include <systemd/sd-daemon.h>

#include "display/terminalText.hpp"

namespace spfctl {

namespace {

constexpr std::size_t widestStatus = 200;
constexpr int keepEnvironment = 0;

bool hasManager() {
  const char* const address = std::getenv("NOTIFY_SOCKET");
  return address != nullptr && *address != '\0';
}

std::optional<std::chrono::microseconds> intervalInEnvironment() {
  std::uint64_t number = 0;
  // Added to a time of the clock, which counts nanoseconds, a greater interval would overflow.
  constexpr std::chrono::microseconds longest = std::chrono::hours(24 * 365);
  if (sd_watchdog_enabled(keepEnvironment, &number) <= 0 || number > static_cast<std::uint64_t>(longest.count())) {
    return std::nullopt;
  }
  return std::chrono::microseconds(number);
}

std::string monotonicMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const auto time = std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  return std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(time).count());
}

}  // namespace

ServiceManager::ServiceManager() : hasManager_(hasManager()) {
  if (hasManager_) {
    interval_ = intervalInEnvironment();
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
  if (hasManager_) {
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

// Returns whether the manager has taken the message.
bool ServiceManager::send(const std::string& message) const {
  return hasManager_ && sd_notify(keepEnvironment, message.c_str()) > 0;
}

}  // namespace spfctl
