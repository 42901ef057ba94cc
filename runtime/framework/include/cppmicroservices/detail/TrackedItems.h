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

/// The items that a tracker keeps something for, and the calls to its customizer. The customizer is called
/// without the lock; an item that goes away while it is being added is removed right afterwards. Any thread
/// may use it.
///
/// \tparam Item  what is tracked; has a hash and ==
/// \tparam Value  what is kept for it
/// \tparam Event  what is passed on to the customizer; a default one if nothing happened to the item itself
template <class Item, class Value, class Event>
class TrackedItems : public ContextEndListener {
 public:
  /// The customizer's three calls. They have to stay callable until close() has returned.
  struct Calls {
    std::function<std::optional<Value>(const Item&, const Event&)> adding;
    std::function<void(const Item&, const Event&, const Value&)> modified;
    std::function<void(const Item&, const Event&, const Value&)> removed;
  };

  explicit TrackedItems(Calls calls) : calls_(std::move(calls)) {}
  TrackedItems(const TrackedItems&) = delete;
  TrackedItems& operator=(const TrackedItems&) = delete;

  /// The item is there, or has changed.
  void track(const Item& item, const Event& event) {
    Lock lock(mutex_);
    track(lock, item, event);
  }

  /// The item is gone, or shall be forgotten.
  void untrack(const Item& item, const Event& event) {
    Lock lock(mutex_);
    const auto beingAdded = adding_.find(item);
    if (beingAdded != adding_.end()) {
      beingAdded->second = false;
    } else if (!remove(lock, item, event) && gone_) {
      gone_->push_back(item);
    }
  }

  /// Takes in what was there before. Items that go away while they are being looked up are left out.
  /// \param lookUp  gives the items
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

  /// Removes everything, and takes in nothing any more. Waits for customizer calls on other threads.
  /// \throws what the customizer threw first; everything is removed all the same
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

  bool closed() const {
    const Lock lock(mutex_);
    return closed_;
  }

  /// \return how often something was added, modified or removed
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

  /// Notes that a thread is in the customizer, and gives the lock away for as long as that.
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

  /// \return false if the item was not tracked
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

  // constant after construction
  const Calls calls_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // guarded by mutex_
  std::unordered_map<Item, Value> values_;
  std::unordered_map<Item, bool> adding_;   // false: it went away meanwhile
  std::optional<std::vector<Item>> gone_;   // while the initial items are being taken in
  std::map<std::thread::id, int> callers_;  // the threads that are in the customizer
  int changes_ = 0;
  bool closed_ = false;
  bool contextEnded_ = false;
};

}  // namespace cppmicroservices::detail
