#include "OwnKeys.hpp"

#include <set>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace agent::spf::etcd {

namespace {

// Below the limits of etcd for one request, 128 operations and 1.5 MiB.
constexpr std::size_t mostWrites = 100;
constexpr std::size_t mostBytes = std::size_t{512} * 1024;

constexpr int grpcNotFound = 5;

}  // namespace

OwnKeys::OwnKeys(Gateway& gateway, Lease& lease, const Attempts& attempts, std::string prefix,
                 std::chrono::milliseconds timeout)
    : gateway_(gateway), lease_(lease), attempts_(attempts), prefix_(std::move(prefix)), timeout_(timeout) {}

void OwnKeys::put(const std::string& key, std::string value) {
  auto& own = keys_[key];
  own.value = std::move(value);
  own.version = ++lastVersion_;
  lease_.acquire();
}

bool OwnKeys::remove(const std::string& key) {
  const auto found = keys_.find(key);
  if (found == keys_.end()) {
    return false;
  }
  if (found->second.mayExist) {
    found->second.value.reset();
    found->second.version = ++lastVersion_;
  } else {
    keys_.erase(found);
  }
  return true;
}

bool OwnKeys::isOutdated(const StoredKey& key) const {
  const auto own = keys_.find(key.key);
  if (own != keys_.end() && !own->second.value) {
    return true;
  }
  const auto removal = removals_.find(key.key);
  return removal != removals_.end() && removal->second.lease == lease_.id() && key.revision <= removal->second.revision;
}

void OwnKeys::observe(const ListingAnswer& listing) {
  std::set<std::string_view> listed;
  for (const auto& key : listing.keys) {
    listed.insert(key.key);
    observe({Change::Kind::put, key});
  }
  for (auto& [key, own] : keys_) {
    if (listed.count(key) == 0) {
      own.lost = listing.revision;
    }
  }
  forgetRemovals(listing.revision);
}

void OwnKeys::observe(const Change& change) {
  if (!isOutdated(change.key)) {
    compare(change);
  }
  forgetRemovals(change.key.revision);
}

void OwnKeys::compare(const Change& change) {
  const auto& stored = change.key;
  const auto found = keys_.find(stored.key);
  const bool isOfThisLease = stored.lease != 0 && stored.lease == lease_.id();
  if (found == keys_.end()) {
    if (change.kind == Change::Kind::put && isOfThisLease) {
      removeStray(stored.key);
    }
    return;
  }
  const bool isSetBack = isOfThisLease && found->second.value && *found->second.value != stored.value;
  if (change.kind == Change::Kind::deleted || isSetBack) {
    found->second.lost = stored.revision;
  }
}

// Etcd reports in the order of revisions, so no older report of these keys can follow.
void OwnKeys::forgetRemovals(Revision seen) {
  for (auto next = removals_.begin(); next != removals_.end();) {
    const auto removal = next++;
    if (removal->second.revision <= seen || removal->second.lease != lease_.id()) {
      removals_.erase(removal);
    }
  }
}

void OwnKeys::removeStray(const std::string& key) {
  auto& own = keys_[key];
  own.version = ++lastVersion_;
  own.mayExist = true;
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
  const bool isWritten = key.written == key.version && key.lease == lease_.id() && key.lost <= key.revision;
  return lease_.id() != 0 && !isWritten;
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
    // Revisions are comparable only while the lease lives: a store that was set up anew has lost it and begins with
    // one.
    if (own.lease != batch.lease) {
      own.lost = 0;
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
  if (answer.code == grpcNotFound) {
    lease_.lapse(batch.lease);
  }
  if (answer.code == grpcNotFound && !hasLapsed_) {
    hasLapsed_ = true;
    phase_ = Phase::idle;  // what is due waits for the next lease only
    return;
  }
  if (!answer.problem.empty()) {
    fail(answer.member, answer.problem);
    return;
  }
  try {
    acknowledge(batch, decodeRevision(answer.body));
  } catch (const std::runtime_error& error) {
    fail(answer.member, gateway_.describe(answer.member, error.what()));
  }
}

void OwnKeys::acknowledge(const Batch& batch, Revision revision) {
  for (std::size_t i = 0; i < batch.writes.size(); ++i) {
    if (!batch.writes[i].value) {
      removals_[batch.writes[i].key] = {batch.lease, revision};
    }
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
    found->second.revision = revision;
  }
  phase_ = Phase::idle;
  hasLapsed_ = false;
  trouble_.clear();
  attempts_.succeed();
}

void OwnKeys::fail(std::size_t member, const std::string& problem) {
  trouble_.report(member, problem);
  restart(attempts_.fail(member, TimePoint::clock::now()));
}

}  // namespace agent::spf::etcd
