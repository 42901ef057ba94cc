#include "Copy.hpp"

#include <algorithm>
#include <utility>

namespace agent::spf::etcd {

void Copy::list(Entries listed, TimePoint missingUntil) {
  std::map<std::string, TimePoint> missing;
  for (const auto& [key, value] : entries_) {
    if (listed.emplace(key, value).second) {
      const auto known = missing_.find(key);
      missing.emplace(key, known == missing_.end() ? missingUntil : known->second);
    }
  }
  isChanged_ = isChanged_ || listed != entries_;
  entries_.swap(listed);
  missing_.swap(missing);
}

void Copy::postpone(TimePoint::duration time) noexcept {
  for (auto& [key, until] : missing_) {
    until += time;
  }
}

void Copy::put(const std::string& key, const std::string& value) {
  const auto [entry, isNew] = entries_.emplace(key, value);
  isChanged_ = isChanged_ || isNew || entry->second != value;
  entry->second = value;
  missing_.erase(key);
}

void Copy::erase(const std::string& key) {
  isChanged_ = entries_.erase(key) != 0 || isChanged_;
  missing_.erase(key);
}

void Copy::expire(TimePoint now) {
  for (auto next = missing_.begin(); next != missing_.end();) {
    const auto missing = next++;
    if (missing->second <= now) {
      const auto key = missing->first;
      erase(key);
    }
  }
}

Copy::TimePoint Copy::expiresAt() const noexcept {
  auto first = TimePoint::max();
  for (const auto& [key, until] : missing_) {
    first = std::min(first, until);
  }
  return first;
}

}  // namespace agent::spf::etcd
