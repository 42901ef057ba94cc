#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/etcd/Registry.hpp"
#include "spf/test/Gate.hpp"

namespace etcdtest {

/// A registry whose changes a test can wait for.
class ObservedRegistry {
 public:
  using Registry = agent::spf::etcd::Registry;
  using Predicate = std::function<bool(const Registry&)>;

  /// \param onChange  called on the registry's thread at each change; may be empty
  explicit ObservedRegistry(agent::spf::etcd::Settings settings, std::function<void()> onChange = nullptr)
      : onChange_(std::move(onChange)),
        registry_(std::make_unique<Registry>(
            std::move(settings),
            Registry::Callbacks{[this] { addChange(); }, [this](const std::string& text) { addWarning(text); }})) {}

  Registry* operator->() { return registry_.get(); }

  /// Ends the registry before this object does.
  void end() { registry_.reset(); }

  /// Blocks until the registry fulfils a predicate, which is asked after each change.
  /// \return false if it does not within a time
  [[nodiscard]] bool waitUntil(const Predicate& predicate, std::chrono::milliseconds within = spf::test::patience) {
    const auto deadline = std::chrono::steady_clock::now() + within;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      const auto seen = changes_;
      lock.unlock();
      if (predicate(*registry_)) {
        return true;
      }
      lock.lock();
      if (!changed_.wait_until(lock, deadline, [&] { return changes_ != seen; })) {
        return false;
      }
    }
  }

  [[nodiscard]] bool waitUntilCurrent() {
    return waitUntil([](const Registry& registry) { return registry.isListed() && registry.trouble().empty(); });
  }

  [[nodiscard]] bool waitForTrouble() {
    return waitUntil([](const Registry& registry) { return !registry.trouble().empty(); });
  }

  [[nodiscard]] bool waitForTrouble(const std::string& text) {
    return waitUntil([&](const Registry& registry) { return registry.trouble() == text; });
  }

  [[nodiscard]] bool waitForTroubleOtherThan(const std::string& text) {
    return waitUntil(
        [&](const Registry& registry) { return !registry.trouble().empty() && registry.trouble() != text; });
  }

  [[nodiscard]] bool waitForKey(const std::string& key) {
    return waitUntil([&](const Registry& registry) { return registry.entries()->count(key) == 1; });
  }

  [[nodiscard]] bool waitForKey(const std::string& key, const std::string& value) {
    return waitUntil([&](const Registry& registry) {
      const auto entries = registry.entries();
      const auto found = entries->find(key);
      return found != entries->end() && found->second == value;
    });
  }

  [[nodiscard]] bool waitForNoKey(const std::string& key) {
    return waitUntil([&](const Registry& registry) { return registry.entries()->count(key) == 0; });
  }

  [[nodiscard]] bool waitForCount(std::size_t count) {
    return waitUntil([&](const Registry& registry) { return registry.entries()->size() == count; });
  }

  [[nodiscard]] bool waitForWarnings(std::size_t count, std::chrono::milliseconds within = spf::test::patience) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, within, [&] { return warnings_.size() >= count; });
  }

  bool hasKey(const std::string& key) { return registry_->entries()->count(key) == 1; }

  std::vector<std::string> warnings() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return warnings_;
  }

 private:
  void addChange() {
    if (onChange_) {
      onChange_();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ++changes_;
    changed_.notify_all();
  }

  void addWarning(const std::string& text) {
    const std::lock_guard<std::mutex> lock(mutex_);
    warnings_.push_back(text);
    changed_.notify_all();
  }

  const std::function<void()> onChange_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  int changes_ = 0;
  std::vector<std::string> warnings_;

  // Used by the test:
  std::unique_ptr<Registry> registry_;
};

}  // namespace etcdtest
