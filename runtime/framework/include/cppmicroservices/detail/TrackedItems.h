#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cppmicroservices/detail/ContextEnd.h"

namespace cppmicroservices::detail {

/// The items of a tracker with the values that it keeps for them, and the calls to its customizer. The customizer is
/// called without the lock; an item that is untracked while it is being added is removed right afterwards. Any thread
/// may use it.
///
/// \tparam Item  has a hash and ==
/// \tparam Value  is kept for an item
/// \tparam Event  is passed to the customizer; a default one if the item itself did not change
template <class Item, class Value, class Event>
class TrackedItems : public ContextEndListener {
 public:
  /// The calls to the customizer. They have to stay callable until close() has returned.
  struct Calls {
    std::function<std::optional<Value>(const Item&, const Event&)> adding;
    std::function<void(const Item&, const Event&, const Value&)> modified;
    std::function<void(const Item&, const Event&, const Value&)> removed;
  };

  explicit TrackedItems(Calls calls) : calls_(std::move(calls)) {}
  TrackedItems(const TrackedItems&) = delete;
  TrackedItems& operator=(const TrackedItems&) = delete;

  /// Adds the item, or reports its change.
  void track(const Item& item, const Event& event) {
    Lock lock(mutex_);
    track(lock, item, event);
  }

  /// Removes the item, if it is tracked.
  void untrack(const Item& item, const Event& event) {
    Lock lock(mutex_);
    const auto beingAdded = adding_.find(item);
    if (beingAdded != adding_.end()) {
      beingAdded->second = false;
    } else if (!remove(lock, item, event) && gone_) {
      gone_->push_back(item);
    }
  }

  /// Adds the items that existed before. Those that are untracked during the look-up are left out.
  /// \param lookUp  returns the items
  template <class LookUp>
  void trackInitial(LookUp&& lookUp) {
    noteGone(true);
    try {
      for (const Item& item : lookUp()) {
        Lock lock(mutex_);
        if (std::find(gone_->begin(), gone_->end(), item) == gone_->end() && values_.count(item) == 0) {
          track(lock, item, Event());
        }
      }
    } catch (...) {
      noteGone(false);
      throw;
    }
    noteGone(false);
  }

  /// Removes all items, and adds none from now on. Waits for customizer calls on other threads.
  /// \throws the first exception of the customizer; all items are removed all the same
  void close() {
    Lock lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOnlyCaller(); });
    std::exception_ptr failure;
    while (!values_.empty()) {
      try {
        remove(lock, Item(values_.begin()->first), Event());
      } catch (...) {
        failure = failure ? failure : std::current_exception();
      }
    }
    if (failure) {
      std::rethrow_exception(failure);
    }
  }

  bool isClosed() const {
    const Lock lock(mutex_);
    return closed_;
  }

  /// Returns how often an item was added, modified or removed.
  int changes() const {
    const Lock lock(mutex_);
    return changes_;
  }

  std::size_t size() const {
    const Lock lock(mutex_);
    return values_.size();
  }

  std::unordered_map<Item, Value> all() const {
    const Lock lock(mutex_);
    return values_;
  }

  std::optional<Value> find(const Item& item) const {
    const Lock lock(mutex_);
    const auto found = values_.find(item);
    return found == values_.end() ? std::nullopt : std::optional<Value>(found->second);
  }

  /// Blocks until there is an item, the tracker is closed, its context has become invalid, or the deadline has passed.
  /// \param deadline  none waits without limit
  /// \return false if the deadline has passed
  bool awaitAny(const std::optional<std::chrono::steady_clock::time_point>& deadline) const {
    const auto mayReturn = [this] { return closed_ || contextEnded_ || !values_.empty(); };
    Lock lock(mutex_);
    if (deadline) {
      return changed_.wait_until(lock, *deadline, mayReturn);
    }
    changed_.wait(lock, mayReturn);
    return true;
  }

  void onContextEnd() noexcept override {
    {
      const Lock lock(mutex_);
      contextEnded_ = true;
    }
    changed_.notify_all();
  }

 private:
  using Lock = std::unique_lock<std::mutex>;

  /// Notes that a thread is in the customizer, and releases the lock meanwhile.
  class Outside {
   public:
    Outside(TrackedItems& items, Lock& lock) : items_(items), lock_(lock) {
      ++items_.callers_[std::this_thread::get_id()];
      lock_.unlock();
    }
    Outside(const Outside&) = delete;
    Outside& operator=(const Outside&) = delete;
    ~Outside() {
      lock_.lock();
      const auto self = items_.callers_.find(std::this_thread::get_id());
      if (--self->second == 0) {
        items_.callers_.erase(self);
      }
      items_.changed_.notify_all();
    }

   private:
    TrackedItems& items_;
    Lock& lock_;
  };

  bool isOnlyCaller() const { return callers_.size() == callers_.count(std::this_thread::get_id()); }

  void noteGone(bool wanted) {
    const Lock lock(mutex_);
    gone_ = wanted ? std::optional<std::vector<Item>>(std::in_place) : std::nullopt;
  }

  void track(Lock& lock, const Item& item, const Event& event) {
    const auto found = values_.find(item);
    if (closed_) {
      return;
    }
    if (found != values_.end()) {
      ++changes_;
      const Value value = found->second;
      const Outside outside(*this, lock);
      calls_.modified(item, event, value);
    } else if (adding_.emplace(item, true).second) {
      add(lock, item, event);
    }
  }

  void add(Lock& lock, const Item& item, const Event& event) {
    std::optional<Value> value;
    try {
      const Outside outside(*this, lock);
      value = calls_.adding(item, event);
    } catch (...) {
      adding_.erase(item);
      throw;
    }
    const bool stillThere = adding_.at(item);
    adding_.erase(item);
    if (!value) {
      return;
    }
    values_.emplace(item, *value);
    ++changes_;
    changed_.notify_all();
    if (!stillThere || closed_) {
      remove(lock, item, event);
    }
  }

  /// Returns false if the item was not tracked.
  bool remove(Lock& lock, const Item& item, const Event& event) {
    const auto found = values_.find(item);
    if (found == values_.end()) {
      return false;
    }
    const Value value = found->second;
    values_.erase(found);
    ++changes_;
    const Outside outside(*this, lock);
    calls_.removed(item, event, value);
    return true;
  }

  // Constant after construction:
  const Calls calls_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by `mutex_`:
  std::unordered_map<Item, Value> values_;
  std::unordered_map<Item, bool> adding_;   // false: it was untracked meanwhile
  std::optional<std::vector<Item>> gone_;   // set while the initial items are being added
  std::map<std::thread::id, int> callers_;  // the threads that are in the customizer
  int changes_ = 0;
  bool closed_ = false;
  bool contextEnded_ = false;
};

}  // namespace cppmicroservices::detail
