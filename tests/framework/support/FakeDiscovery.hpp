#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "spf/test/Gate.hpp"

namespace agent::spf::frameworkinterfaces {

inline void PrintTo(const DiscoveredAddress& address, std::ostream* out) {
  *out << address.address << " key '" << address.key << "' of '" << address.announcement << "'";
}

}  // namespace agent::spf::frameworkinterfaces

namespace frameworktest {

/// A discovery whose answers a test sets, and which records what is announced. Any thread may call any member.
class FakeDiscovery : public agent::spf::frameworkinterfaces::Discovery,
                      public std::enable_shared_from_this<FakeDiscovery> {
 public:
  using Address = agent::spf::frameworkinterfaces::DiscoveredAddress;
  using Announcement = agent::spf::frameworkinterfaces::Announcement;
  using Endpoint = agent::spf::frameworkinterfaces::AnnouncedEndpoint;

  /// Sets what a name stands for, besides what is announced.
  void set(const std::string& name, std::vector<Address> addresses) {
    answer(name, [addresses = std::move(addresses)] { return addresses; });
  }

  /// Lets a name stand for nothing.
  void fail(const std::string& name, const std::string& reason) {
    answer(name, [reason]() -> std::vector<Address> { throw std::runtime_error(reason); });
  }

  /// Sets a function that answers for a name.
  void answer(const std::string& name, std::function<std::vector<Address>()> answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_[name] = std::move(answer);
  }

  /// Refuses later announcements for a reason; accepts them if it is empty.
  void refuse(const std::string& reason) {
    const std::lock_guard<std::mutex> lock(mutex_);
    refusal_ = reason;
  }

  std::vector<Address> addressesOf(const std::string& name) const override {
    std::unique_lock<std::mutex> lock(mutex_);
    const auto found = answers_.find(name);
    const auto answer = found != answers_.end() ? found->second : [] { return std::vector<Address>(); };
    std::vector<Address> announced;
    for (const auto& [id, endpoint] : announced_) {
      if (endpoint.name == name) {
        announced.push_back({endpoint.address, endpoint.key, id});
      }
    }
    lock.unlock();
    auto addresses = answer();
    addresses.insert(addresses.end(), announced.begin(), announced.end());
    if (addresses.empty()) {
      throw std::runtime_error("nobody knows the name");
    }
    return addresses;
  }

  std::unique_ptr<Announcement> announce(const Endpoint& endpoint) override {
    std::string id;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++calls_;
      changed_.notify_all();
      if (!refusal_.empty()) {
        throw std::runtime_error(refusal_);
      }
      id = "fake-" + std::to_string(calls_);
      announced_[id] = endpoint;
    }
    return std::make_unique<Recorded>(shared_from_this(), id);
  }

  /// Called before an announcement is withdrawn.
  std::function<void()> onWithdrawal = [] {};

  /// Returns what is announced, as lines of text: `<name> <address> <configuration>`, and `key <key>` if it has one.
  std::vector<std::string> announced() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines();
  }

  /// Waits until a condition on the lines of `announced` is fulfilled.
  /// \return the lines
  std::vector<std::string> waitUntil(const std::function<bool(const std::vector<std::string>&)>& condition) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, std::chrono::steady_clock::now() + spf::test::patience,
                        [&] { return condition(lines()); });
    return lines();
  }

  /// Waits for a number of announcements.
  std::vector<std::string> waitFor(std::size_t count) {
    return waitUntil([count](const std::vector<std::string>& lines) { return lines.size() == count; });
  }

  /// Waits until this number of announcements were requested in all.
  /// \return false after the time-out of the tests
  [[nodiscard]] bool waitForCalls(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_until(lock, std::chrono::steady_clock::now() + spf::test::patience,
                               [&] { return calls_ >= count; });
  }

  /// Returns how many announcements were requested so far.
  int calls() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return calls_;
  }

 private:
  class Recorded : public Announcement {
   public:
    Recorded(std::shared_ptr<FakeDiscovery> discovery, std::string id)
        : discovery_(std::move(discovery)), id_(std::move(id)) {}
    ~Recorded() override { discovery_->withdraw(id_); }

    Recorded(const Recorded&) = delete;
    Recorded& operator=(const Recorded&) = delete;

    const std::string& id() const override { return id_; }

   private:
    const std::shared_ptr<FakeDiscovery> discovery_;
    const std::string id_;
  };

  void withdraw(const std::string& id) {
    onWithdrawal();
    const std::lock_guard<std::mutex> lock(mutex_);
    announced_.erase(id);
    changed_.notify_all();
  }

  std::vector<std::string> lines() const {
    std::vector<std::string> lines;
    for (const auto& [id, endpoint] : announced_) {
      const std::string key = endpoint.key.empty() ? "" : " key " + endpoint.key;
      lines.push_back(endpoint.name + " " + endpoint.address + " " + endpoint.configuration + key);
    }
    return lines;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::map<std::string, std::function<std::vector<Address>()>> answers_;
  std::map<std::string, Endpoint> announced_;
  std::string refusal_;
  int calls_ = 0;
};

}  // namespace frameworktest
