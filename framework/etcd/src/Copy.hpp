#pragma once

#include <chrono>
#include <map>
#include <string>

#include "agent/spf/etcd/Registry.hpp"

namespace agent::spf::etcd {

/// The copy of all keys. Keys that a listing after an interruption lacks stay for some time more. Used by one thread.
class Copy {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;
  using Entries = Registry::Entries;

  const Entries& entries() const noexcept { return entries_; }

  /// Takes over a listing. Keys that it is the first to lack stay until a point in time. Those that were missing before
  /// get no more time, or they would never be removed while interruptions follow one another.
  void list(Entries listed, TimePoint missingUntil);

  /// Gives the missing keys some more time.
  void postpone(TimePoint::duration time) noexcept;

  void put(const std::string& key, const std::string& value);
  void erase(const std::string& key);

  /// Removes the missing keys whose time is over.
  void expire(TimePoint now);

  /// Returns when `expire` has to be called.
  TimePoint expiresAt() const noexcept;

  /// Returns whether entries have changed since the last acknowledgement.
  bool isChanged() const noexcept { return isChanged_; }
  void acknowledge() noexcept { isChanged_ = false; }

 private:
  Entries entries_;
  std::map<std::string, TimePoint> missing_;  // keys of entries that the last listing lacked
  bool isChanged_ = false;
};

}  // namespace agent::spf::etcd
