#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/Registry.hpp"

namespace spfctl {

/// What has become of an announcement.
struct NameChange {
  enum class Kind {
    present,  ///< it was there before the following began
    added,
    removed,
    moved,   ///< the announcement, or another one of its name and configuration in its place, has another address
    changed  ///< anything but the address
  };

  Kind kind;
  agent::spf::etcd::NameRecord record;  ///< removed: as it was
  std::string before;                   ///< moved: the address that it had
};

/// A key that holds no announcement.
struct UnreadableKey {
  std::string key;  ///< without the prefix
  std::string reason;
};

/// Follows the announcements among the entries of a registry. For one thread.
class FollowedNames {
 public:
  using Entries = agent::spf::etcd::Registry::Entries;

  struct Update {
    std::vector<NameChange> changes;        ///< in the order of names
    std::vector<UnreadableKey> unreadable;  ///< those that have not been reported since they are there
  };

  /// \param name  the only one that is followed; empty: all
  explicit FollowedNames(std::string name = {});

  /// Compares the entries with those of the call before; at the first call, all are `present`. Reads only what has
  /// changed.
  Update update(std::shared_ptr<const Entries> entries);

  /// Returns the announcements, sorted by name and address.
  std::vector<agent::spf::etcd::NameRecord> records() const;

 private:
  bool isFollowed(const std::string& key) const;
  void read(const std::string& key, const std::string& value, Update& update);
  void forget(const std::string& key, Update& update);

  const std::string keyBegin_;                                   ///< of the name that is followed; empty: of all
  std::shared_ptr<const Entries> entries_;                       ///< of the last call; null before the first
  std::map<std::string, agent::spf::etcd::NameRecord> records_;  ///< by key
  std::set<std::string> unreadable_;
};

}  // namespace spfctl
