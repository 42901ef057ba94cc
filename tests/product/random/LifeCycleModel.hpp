#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace spf::test {

/// Handles and builders, and what they must leave in Configuration Admin and in the service registry,
/// kept as plainly as can be.
struct LifeCycleModel {
  struct Builder {
    std::string id;
    std::uint32_t count = 0;
    bool seeded = false;
    std::set<std::string> publishers;
  };
  struct Handle {
    bool empty = true;
    std::string id;
    std::uint32_t count = 0;
    std::set<std::string> publishers;
    std::set<std::string> completed;
    std::set<std::string> unpublished;
    bool removalInProgress = false;
    bool listens = false;
  };

  static constexpr int slots = 3;

  Builder builders[slots];
  Handle handles[slots];
  // The counts that Configuration Admin holds, by ID.
  std::map<std::string, int> stored;
  std::vector<std::string> removed;

  void build(int builder, int handle, const std::string& generatedID) {
    auto& from = builders[builder];
    Handle built;
    built.empty = false;
    built.id = from.id.empty() ? generatedID : std::exchange(from.id, "");
    built.count = from.count + 1;
    built.publishers = from.publishers;
    built.listens = true;
    from.seeded = false;
    stored[built.id] = static_cast<int>(built.count);
    replace(handle, built);
  }

  void modify(int handle, int builder) {
    auto& from = handles[handle];
    Builder seeded{std::exchange(from.id, ""), from.count, !from.empty, from.publishers};
    replace(builder, seeded);
  }

  void moveHandle(int from, int to) {
    if (from != to) {
      replace(to, std::exchange(handles[from], Handle()));
    }
  }
  void moveBuilder(int from, int to) {
    if (from != to) {
      replace(to, std::exchange(builders[from], Builder()));
    }
  }

  /// In the place of what the slot held, which is withdrawn.
  void replace(int slot, const Handle& handle) { withdraw(std::exchange(handles[slot], handle).id); }
  void replace(int slot, const Builder& builder) {
    const auto old = std::exchange(builders[slot], builder);
    if (old.seeded) {
      withdraw(old.id);
    }
  }

  /// \return what the wait comes to
  std::string waitForUnpublishing(int handle, const std::string& publisherID) {
    auto& waiting = handles[handle];
    if (waiting.empty) {
      return "false";
    }
    waiting.removalInProgress = true;
    withdraw(std::exchange(waiting.id, ""));
    const bool known = waiting.publishers.count(publisherID) != 0;
    waiting.listens = !known;
    return !known ? "unknown" : waiting.unpublished.count(publisherID) != 0 ? "true" : "false";
  }

  void servicesChange(const std::string& publisherID, std::uint32_t count, bool unpublished) {
    for (auto& handle : handles) {
      if (!handle.listens || count < handle.count || handle.publishers.count(publisherID) == 0) {
        continue;
      }
      handle.completed.insert(publisherID);
      if (unpublished) {
        handle.unpublished.insert(publisherID);
      }
      handle.listens = handle.removalInProgress || handle.completed != handle.publishers;
    }
  }

  std::size_t listeners() const {
    std::size_t count = 0;
    for (const auto& handle : handles) {
      count += handle.listens ? 1 : 0;
    }
    return count;
  }

 private:
  void withdraw(const std::string& id) {
    if (!id.empty()) {
      stored.erase(id);
      removed.push_back(id);
    }
  }
};

}  // namespace spf::test
