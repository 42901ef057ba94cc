#include "OwnKeys.hpp"

#include <utility>

namespace agent::spf::etcd {

namespace {

// Below the limits of etcd for one request, 128 operations and 1.5 MiB.
constexpr std::size_t mostWrites = 100;
constexpr std::size_t mostBytes = std::size_t{512} * 1024;

constexpr int grpcNotFound = 5;

}  // namespace

OwnKeys::OwnKeys(Gateway& gateway, Lease& lease, Attempts attempts, std::string prefix,
                 std::chrono::milliseconds timeout)
    : gateway_(gateway), lease_(lease), attempts_(std::move(attempts)), prefix_(std::move(prefix)), timeout_(timeout) {}

void OwnKeys::put(const std::string& key, std::string value) {
  auto& own = keys_[key];
  own.value = std::move(value);
  own.version = ++lastVersion_;
  lease_.acquire();
}

void OwnKeys::remove(const std::string& key) {
  const auto found = keys_.find(key);
  if (found == keys_.end()) {
    return;
  }
  if (found->second.mayExist) {
    found->second.value.reset();
    found->second.version = ++lastVersion_;
  } else {
    keys_.erase(found);
  }
}

void OwnKeys::tick(TimePoint now) {
  if (phase_ == Phase::writing || (phase_ == Phase::waiting && now < wakeAt_)) {
    return;
  }
  phase_ = Phase::idle;
  wakeAt_ = TimePoint::max();
  auto batch = nextBatch();
  if (!batch.writes.empty()) {
    write(std::move(batch));
  }
}

void OwnKeys::retry() noexcept {
  if (phase_ == Phase::waiting) {
    wakeAt_ = TimePoint::min();
  }
}

void OwnKeys::restart(TimePoint at) noexcept {
  call_ = nullptr;
  phase_ = Phase::waiting;
  wakeAt_ = at;
}

bool OwnKeys::isDue(const OwnKey& key) const {
  if (!key.value) {
    return true;
  }
  return lease_.id() != 0 && (key.written != key.version || key.lease != lease_.id());
}

OwnKeys::Batch OwnKeys::nextBatch() {
  Batch batch;
  batch.lease = lease_.id();
  std::size_t bytes = 0;
  for (auto& [key, own] : keys_) {
    if (!isDue(own)) {
      continue;
    }
    bytes += prefix_.size() + key.size() + (own.value ? own.value->size() : 0);
    if (batch.writes.size() == mostWrites || (bytes > mostBytes && !batch.writes.empty())) {
      break;
    }
    own.mayExist = true;
    batch.writes.push_back({key, own.value});
    batch.versions.push_back(own.version);
  }
  return batch;
}

void OwnKeys::write(Batch batch) {
  GatewayQuestion question;
  question.path = "/v3/kv/txn";
  question.body = encodeWrites(prefix_, batch.writes, batch.lease);
  question.timeout = timeout_;
  question.onAnswer = [this, batch = std::move(batch)](const GatewayAnswer& answer) { receive(batch, answer); };
  call_ = gateway_.ask(std::move(question));
  phase_ = Phase::writing;
}

void OwnKeys::receive(const Batch& batch, const GatewayAnswer& answer) {
  if (answer.problem.empty()) {
    acknowledge(batch);
    return;
  }
  if (answer.code == grpcNotFound) {
    lease_.lapse(batch.lease);
  }
  fail(answer);
}

void OwnKeys::acknowledge(const Batch& batch) {
  for (std::size_t i = 0; i < batch.writes.size(); ++i) {
    const auto found = keys_.find(batch.writes[i].key);
    if (found == keys_.end() || found->second.version != batch.versions[i]) {
      continue;  // changed meanwhile, so it is written again
    }
    if (!found->second.value) {
      keys_.erase(found);
      continue;
    }
    found->second.written = batch.versions[i];
    found->second.lease = batch.lease;
  }
  phase_ = Phase::idle;
  trouble_.clear();
  attempts_.succeed();
}

void OwnKeys::fail(const GatewayAnswer& answer) {
  trouble_.report(answer.member, answer.problem);
  restart(attempts_.fail(answer.member, TimePoint::clock::now()));
}

}  // namespace agent::spf::etcd
