#include "discovery/FollowedNames.hpp"

#include <algorithm>
#include <stdexcept>
#include <tuple>
#include <utility>

namespace spfctl {

namespace {

using agent::spf::etcd::NameRecord;
using Kind = NameChange::Kind;

bool isSame(const NameRecord& left, const NameRecord& right) {
  const auto members = [](const NameRecord& record) {
    return std::tie(record.name, record.id, record.address, record.key, record.host, record.process,
                    record.configuration, record.since);
  };
  return members(left) == members(right);
}

bool mayReplace(const NameRecord& record, const NameRecord& before) {
  return record.name == before.name && record.configuration == before.configuration;
}

// Joins what went and what came in its place, as after a listing that followed an outage.
std::vector<NameChange> withMoves(std::vector<NameChange> changes) {
  std::vector<NameChange> joined;
  std::vector<NameChange> removed;
  for (auto& change : changes) {
    (change.kind == Kind::removed ? removed : joined).push_back(std::move(change));
  }
  for (auto& change : joined) {
    const auto before = std::find_if(removed.begin(), removed.end(), [&](const NameChange& candidate) {
      return change.kind == Kind::added && mayReplace(change.record, candidate.record);
    });
    if (before != removed.end()) {
      const bool isMoved = before->record.address != change.record.address;
      change = {isMoved ? Kind::moved : Kind::changed, std::move(change.record),
                isMoved ? before->record.address : std::string()};
      removed.erase(before);
    }
  }
  joined.insert(joined.end(), std::make_move_iterator(removed.begin()), std::make_move_iterator(removed.end()));
  std::stable_sort(joined.begin(), joined.end(), [](const NameChange& left, const NameChange& right) {
    return left.record.name < right.record.name;
  });
  return joined;
}

}  // namespace

FollowedNames::FollowedNames(std::string name) : keyBegin_(name.empty() ? std::move(name) : std::move(name) + "/") {}

FollowedNames::Update FollowedNames::update(std::shared_ptr<const Entries> entries) {
  Update update;
  const auto before = entries_ ? entries_ : std::make_shared<const Entries>();
  auto old = before->begin();
  auto current = entries->begin();
  while (old != before->end() || current != entries->end()) {
    const bool isGone = current == entries->end() || (old != before->end() && old->first < current->first);
    const bool isNew = old == before->end() || (current != entries->end() && current->first < old->first);
    if (isGone) {
      forget(old->first, update);
    } else if (isNew || old->second != current->second) {
      read(current->first, current->second, update);
    }
    if (!isNew) {
      ++old;
    }
    if (!isGone) {
      ++current;
    }
  }
  update.changes = withMoves(std::move(update.changes));
  for (auto& change : update.changes) {
    change.kind = entries_ ? change.kind : Kind::present;
  }
  entries_ = std::move(entries);
  return update;
}

std::vector<NameRecord> FollowedNames::records() const {
  std::vector<NameRecord> records;
  records.reserve(records_.size());
  for (const auto& entry : records_) {
    records.push_back(entry.second);
  }
  std::sort(records.begin(), records.end(), [](const NameRecord& left, const NameRecord& right) {
    return std::tie(left.name, left.address, left.id) < std::tie(right.name, right.address, right.id);
  });
  return records;
}

bool FollowedNames::isFollowed(const std::string& key) const {
  return key.compare(0, keyBegin_.size(), keyBegin_) == 0;
}

void FollowedNames::read(const std::string& key, const std::string& value, Update& update) {
  if (!isFollowed(key)) {
    return;
  }
  NameRecord record;
  try {
    record = agent::spf::etcd::decode(key, value);
  } catch (const std::runtime_error& error) {
    const bool isReported = unreadable_.count(key) != 0;
    forget(key, update);
    unreadable_.insert(key);
    if (!isReported) {
      update.unreadable.push_back({key, error.what()});
    }
    return;
  }
  unreadable_.erase(key);
  const auto known = records_.find(key);
  if (known == records_.end()) {
    update.changes.push_back({Kind::added, record, {}});
  } else if (known->second.address != record.address) {
    update.changes.push_back({Kind::moved, record, known->second.address});
  } else if (!isSame(known->second, record)) {
    update.changes.push_back({Kind::changed, record, {}});
  }
  records_[key] = std::move(record);
}

void FollowedNames::forget(const std::string& key, Update& update) {
  unreadable_.erase(key);
  const auto known = records_.find(key);
  if (known != records_.end()) {
    update.changes.push_back({Kind::removed, std::move(known->second), {}});
    records_.erase(known);
  }
}

}  // namespace spfctl
