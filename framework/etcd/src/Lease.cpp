#include "Lease.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace agent::spf::etcd {

namespace {

std::chrono::milliseconds thirdOf(std::chrono::seconds ttl) {
  return std::chrono::milliseconds(ttl) / 3;
}

}  // namespace

Lease::Lease(Gateway& gateway, const Attempts& attempts, std::chrono::seconds ttl)
    : gateway_(gateway), attempts_(attempts), ttl_(ttl) {}

void Lease::acquire() {
  if (phase_ == Phase::none) {
    wait(TimePoint::min());
  }
}

void Lease::lapse(LeaseId id) {
  if (id_ != 0 && id_ == id) {
    id_ = 0;
    wait(TimePoint::min());
  }
}

void Lease::tick(TimePoint now) {
  if (now < wakeAt_) {
    return;
  }
  wakeAt_ = TimePoint::max();
  if (phase_ == Phase::held || (phase_ == Phase::waiting && id_ != 0)) {
    renew();
  } else if (phase_ == Phase::waiting) {
    grant();
  }
}

void Lease::retry() noexcept {
  if (phase_ == Phase::waiting) {
    wakeAt_ = TimePoint::min();
  }
}

void Lease::restart(TimePoint at) noexcept {
  if (phase_ != Phase::none) {
    wait(at);
  }
}

void Lease::wait(TimePoint until) noexcept {
  call_ = nullptr;
  phase_ = Phase::waiting;
  wakeAt_ = until;
}

void Lease::grant() {
  askedAt_ = TimePoint::clock::now();
  GatewayQuestion question;
  question.path = "/v3/lease/grant";
  question.body = encodeGrant(ttl_);
  question.timeout = thirdOf(ttl_);
  question.onAnswer = [this](const GatewayAnswer& answer) { receiveGrant(answer); };
  call_ = gateway_.ask(std::move(question));
  phase_ = Phase::granting;
}

void Lease::renew() {
  askedAt_ = TimePoint::clock::now();
  GatewayQuestion question;
  question.path = "/v3/lease/keepalive";
  question.body = encodeLease(id_);
  question.timeout = limitOfRenewal(askedAt_);
  question.onAnswer = [this](const GatewayAnswer& answer) { receiveRenewal(answer); };
  call_ = gateway_.ask(std::move(question));
  phase_ = Phase::renewing;
}

// Each member gets its share of the time, but not so little that no member could answer.
std::chrono::milliseconds Lease::limitOfRenewal(TimePoint now) const {
  const auto longest = thirdOf(ttl_);
  if (now >= lapsesAt_) {
    return longest;
  }
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(lapsesAt_ - now);
  const auto shortest = longest / static_cast<int>(gateway_.members().count());
  return std::clamp(left / static_cast<int>(attempts_.membersLeft()), shortest, longest);
}

void Lease::receiveGrant(const GatewayAnswer& answer) {
  if (!answer.problem.empty()) {
    fail(answer.member, answer.problem);
    return;
  }
  try {
    const auto lease = decodeGrant(answer.body);
    id_ = lease.id;
    hold(lease.ttl);
  } catch (const std::runtime_error& error) {
    fail(answer.member, gateway_.describe(answer.member, error.what()));
  }
}

void Lease::receiveRenewal(const GatewayAnswer& answer) {
  if (!answer.problem.empty()) {
    fail(answer.member, answer.problem);
    return;
  }
  try {
    const auto lease = decodeKeepAlive(answer.body);
    if (lease.ttl.count() > 0) {
      hold(lease.ttl);
    } else {
      lapse(id_);
    }
  } catch (const std::runtime_error& error) {
    fail(answer.member, gateway_.describe(answer.member, error.what()));
  }
}

void Lease::hold(std::chrono::seconds granted) {
  phase_ = Phase::held;
  wakeAt_ = TimePoint::clock::now() + thirdOf(granted);
  lapsesAt_ = askedAt_ + granted;
  trouble_.clear();
  attempts_.succeed();
}

void Lease::fail(std::size_t member, const std::string& problem) {
  trouble_.report(member, problem);
  wait(attempts_.fail(member, TimePoint::clock::now()));
}

}  // namespace agent::spf::etcd
