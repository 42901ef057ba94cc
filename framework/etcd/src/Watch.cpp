#include "Watch.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace agent::spf::etcd {

Watch::Watch(Gateway& gateway, const Attempts& attempts, Copy& copy, OwnKeys& ownKeys, const Settings& settings)
    : gateway_(gateway),
      attempts_(attempts),
      copy_(copy),
      ownKeys_(ownKeys),
      prefix_(settings.prefix),
      ttl_(settings.ttl),
      third_(std::chrono::milliseconds(settings.ttl) / 3) {}

// Missing keys stay for as long as etcd is away.
Watch::TimePoint Watch::wakeAt() const noexcept {
  return hasListed() ? std::min(wakeAt_, copy_.expiresAt()) : wakeAt_;
}

void Watch::tick(TimePoint now) {
  if (hasListed()) {
    copy_.expire(now);
  }
  if (now < wakeAt_) {
    return;
  }
  wakeAt_ = TimePoint::max();
  if (phase_ == Phase::waiting) {
    list();
  } else if (phase_ == Phase::opening) {
    fail(gateway_.describe(member_, "no watch within " + std::to_string(third_.count()) + " ms"));
  } else if (phase_ == Phase::watching) {
    probe();
  }
}

void Watch::retry() noexcept {
  if (phase_ == Phase::waiting) {
    wakeAt_ = TimePoint::min();
  }
}

void Watch::restart(TimePoint at) noexcept {
  listing_ = nullptr;
  stream_ = nullptr;
  probe_ = nullptr;
  phase_ = Phase::waiting;
  wakeAt_ = at;
}

void Watch::list() {
  member_ = gateway_.members().current();
  GatewayQuestion question;
  question.path = "/v3/kv/range";
  question.body = encodeListing(prefix_);
  question.timeout = third_;
  question.onAnswer = [this](const GatewayAnswer& answer) { receiveListing(answer); };
  listing_ = gateway_.ask(member_, std::move(question));
  phase_ = Phase::listing;
}

void Watch::receiveListing(const GatewayAnswer& answer) {
  if (!answer.problem.empty()) {
    fail(answer.problem);
    return;
  }
  try {
    takeListing(decodeListing(answer.body, prefix_));
  } catch (const std::runtime_error& error) {
    fail(gateway_.describe(member_, error.what()));
  }
}

void Watch::takeListing(ListingAnswer listing) {
  ownKeys_.observe(listing);
  Copy::Entries entries;
  for (auto& key : listing.keys) {
    if (!ownKeys_.isOutdated(key)) {
      entries.emplace(std::move(key.key), std::move(key.value));
    }
  }
  endOutage();
  copy_.list(std::move(entries), TimePoint::clock::now() + ttl_);
  isListed_ = true;
  open(listing.revision + 1);
}

void Watch::open(Revision first) {
  splitter_ = StreamSplitter(HttpLoop::longestAnswer);
  GatewayQuestion question;
  question.path = "/v3/watch";
  question.body = encodeWatch(prefix_, first);
  question.timeout = third_;
  question.onPiece = [this](std::string_view piece) { receivePiece(piece); };
  question.onAnswer = [this](const GatewayAnswer& answer) { receiveEnd(answer); };
  stream_ = gateway_.ask(member_, std::move(question));
  phase_ = Phase::opening;
  wakeAt_ = TimePoint::clock::now() + third_;
}

void Watch::receivePiece(std::string_view piece) {
  try {
    for (const auto& message : splitter_.push(piece)) {
      if (!receiveMessage(message)) {
        return;
      }
    }
  } catch (const std::runtime_error& error) {
    fail(gateway_.describe(member_, error.what()));
  }
}

// Returns whether the watch goes on.
bool Watch::receiveMessage(const std::string& message) {
  const auto answer = decodeWatch(message, prefix_);
  for (const auto& change : answer.changes) {
    ownKeys_.observe(change);
    if (change.kind == Change::Kind::deleted) {
      copy_.erase(change.key.key);
    } else if (!ownKeys_.isOutdated(change.key)) {
      copy_.put(change.key.key, change.key.value);
    }
  }
  if (answer.isCancelled) {
    receiveCancellation(answer);
    return false;
  }
  if (answer.isCreated && phase_ == Phase::opening) {
    phase_ = Phase::watching;
    trouble_.clear();
    wakeAt_ = TimePoint::clock::now() + third_;
  }
  return true;
}

// Compaction between the listing and the watch is nobody's failure.
void Watch::receiveCancellation(const WatchAnswer& answer) {
  if (answer.compacted > 0) {
    restart(attempts_.repeat(TimePoint::clock::now()));
    return;
  }
  const auto reason = answer.reason.empty() ? "no reason given" : answer.reason;
  fail(gateway_.describe(member_, "the watch was cancelled: " + reason));
}

void Watch::receiveEnd(const GatewayAnswer& answer) {
  fail(!answer.problem.empty() ? answer.problem : gateway_.describe(member_, "the watch has ended"));
}

void Watch::probe() {
  GatewayQuestion question;
  question.path = "/v3/kv/range";
  question.body = encodeProbe(prefix_);
  question.timeout = third_;
  question.onAnswer = [this](const GatewayAnswer& answer) { receiveProbe(answer); };
  probe_ = gateway_.ask(member_, std::move(question));
}

void Watch::receiveProbe(const GatewayAnswer& answer) {
  if (!answer.problem.empty()) {
    fail(answer.problem);
    return;
  }
  attempts_.succeed();
  wakeAt_ = TimePoint::clock::now() + third_;
}

void Watch::countFailedListing() {
  if (failedListings_ == 0) {
    failingSince_ = TimePoint::clock::now();
  }
  ++failedListings_;
}

void Watch::endOutage() noexcept {
  if (failedListings_ >= gateway_.members().count()) {
    copy_.postpone(TimePoint::clock::now() - failingSince_);
  }
  failedListings_ = 0;
}

void Watch::fail(const std::string& problem) {
  if (phase_ == Phase::listing) {
    countFailedListing();
  }
  trouble_.report(member_, problem);
  restart(attempts_.fail(member_, TimePoint::clock::now()));
}

}  // namespace agent::spf::etcd
