#pragma once

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "core/BundleContextPrivate.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/ListenerFunctors.h"
#include "cppmicroservices/ListenerToken.h"

namespace cppmicroservices {

/// Returns an ID that no other listener of the process has.
ListenerTokenId nextListenerId();

/// Returns whether the two are the same function, the same method of the same object, or callable objects of the
/// same type.
template <class Event>
bool isSameListener(const std::function<void(const Event&)>& left, const std::function<void(const Event&)>& right) {
  using Function = void (*)(const Event&);
  using Method = detail::ListenerMethod<Event>;
  if (left.target_type() != right.target_type()) {
    return false;
  }
  if (const auto* const function = left.template target<Function>()) {
    return *function == *right.template target<Function>();
  }
  const auto* const method = left.template target<Method>();
  return !method || *method == *right.template target<Method>();
}

/// One added listener.
template <class Function>
struct ListenerEntry {
  ListenerEntry(std::shared_ptr<BundleContextPrivate> context, Function callback)
      : owner(std::move(context)), function(std::move(callback)) {}

  const ListenerTokenId id = nextListenerId();
  const std::shared_ptr<BundleContextPrivate> owner;
  const Function function;
  std::atomic<bool> removed{false};
};

/// The listeners to one kind of event. They may be added and removed during an iteration, which works on an
/// immutable snapshot and skips the entries that are removed by then. Any thread may use it.
template <class Entry>
class ListenerList {
 public:
  using Entries = std::vector<std::shared_ptr<Entry>>;

  /// Returns a snapshot of the listeners; null if there are none.
  std::shared_ptr<const Entries> entries() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return entries_;
  }

  /// Calls `action` for each listener of a snapshot that is not removed by then, without the lock.
  template <class Action>
  static void forEach(const std::shared_ptr<const Entries>& snapshot, Action action) {
    if (!snapshot) {
      return;
    }
    for (const auto& entry : *snapshot) {
      if (!entry->removed) {
        action(*entry);
      }
    }
  }

  /// Adds a listener. The context is asked under the lock that removals take too, so that no listener of a context
  /// stays behind when the context becomes invalid and its listeners are removed afterwards.
  /// \throws IllegalStateException if the listener's context is not valid
  ListenerToken add(std::shared_ptr<Entry> entry) {
    const auto id = entry->id;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!entry->owner->isValid()) {
      BundleContextPrivate::throwInvalid();
    }
    auto changed = entries_ ? std::make_shared<Entries>(*entries_) : std::make_shared<Entries>();
    changed->push_back(std::move(entry));
    entries_ = std::move(changed);
    return detail::HandleAccess::token(id);
  }

  /// Removes the listener that the token names, if it is in this list.
  void remove(const ListenerToken& token) {
    removeIf([id = detail::HandleAccess::idOf(token)](const Entry& entry) { return entry.id == id; });
  }

  /// Removes the context's listeners that are the same as the given one, see isSameListener().
  template <class Listener>
  void remove(const BundleContextPrivate& context, const Listener& listener) {
    removeIf(
        [&](const Entry& entry) { return entry.owner.get() == &context && isSameListener(entry.function, listener); });
  }

  /// Removes all of the context's listeners.
  void removeAllOf(const BundleContextPrivate& context) {
    removeIf([&](const Entry& entry) { return entry.owner.get() == &context; });
  }

 private:
  template <class Predicate>
  void removeIf(Predicate isMeant) {
    std::shared_ptr<const Entries> old;  // destroyed after the lock: listeners are foreign objects
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!entries_ || std::none_of(entries_->begin(), entries_->end(), [&](auto& entry) { return isMeant(*entry); })) {
      return;
    }
    auto kept = std::make_shared<Entries>();
    for (const auto& entry : *entries_) {
      if (isMeant(*entry)) {
        entry->removed = true;
      } else {
        kept->push_back(entry);
      }
    }
    old = std::move(entries_);
    entries_ = kept->empty() ? nullptr : std::move(kept);
  }

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::shared_ptr<const Entries> entries_;
};

}  // namespace cppmicroservices
