#pragma once

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "cppmicroservices/ListenerToken.h"

namespace cppmicroservices {

class BundleContextPrivate;

/// One added listener.
template <class Function>
struct ListenerEntry {
  ListenerEntry(ListenerTokenId token, std::shared_ptr<BundleContextPrivate> context, Function callback)
      : id(token), owner(std::move(context)), function(std::move(callback)) {}

  const ListenerTokenId id;
  const std::shared_ptr<BundleContextPrivate> owner;
  const Function function;
  std::atomic<bool> removed{false};
};

/// Listeners that may be added and removed while others go through them: who goes through them has a list
/// of its own that never changes, and looks at each entry's flag before calling it. Any thread may use it.
template <class Entry>
class ListenerList {
 public:
  using Entries = std::vector<std::shared_ptr<Entry>>;

  /// \return the listeners at this moment; null if there are none
  std::shared_ptr<const Entries> entries() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return entries_;
  }

  /// Adds a listener if `allowed()` holds, which is asked under the lock that removals take too.
  template <class Predicate>
  bool addIf(std::shared_ptr<Entry> entry, Predicate allowed) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!allowed()) {
      return false;
    }
    auto changed = entries_ ? std::make_shared<Entries>(*entries_) : std::make_shared<Entries>();
    changed->push_back(std::move(entry));
    entries_ = std::move(changed);
    return true;
  }

  /// Removes all listeners that the predicate picks.
  template <class Predicate>
  void removeIf(Predicate picked) {
    std::shared_ptr<const Entries> old;  // destroyed after the lock: listeners are foreign objects
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!entries_ || std::none_of(entries_->begin(), entries_->end(), [&](auto& entry) { return picked(*entry); })) {
      return;
    }
    auto kept = std::make_shared<Entries>();
    for (const auto& entry : *entries_) {
      if (picked(*entry)) {
        entry->removed = true;
      } else {
        kept->push_back(entry);
      }
    }
    old = std::move(entries_);
    entries_ = kept->empty() ? nullptr : std::move(kept);
  }

 private:
  mutable std::mutex mutex_;
  std::shared_ptr<const Entries> entries_;  // guarded by mutex_
};

}  // namespace cppmicroservices
