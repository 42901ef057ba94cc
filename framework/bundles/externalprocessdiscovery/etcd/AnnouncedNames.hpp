#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/RecordReader.hpp"
#include "agent/spf/etcd/Registry.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::etcddiscovery {

using agent::spf::etcd::NameRecord;
using agent::spf::etcd::Registry;
using agent::spf::frameworkinterfaces::AnnouncedEndpoint;
using agent::spf::frameworkinterfaces::Announcement;
using agent::spf::frameworkinterfaces::DiscoveredAddress;

/// What names stand for: the records that etcd has, and those that this process announces, which count before etcd has
/// them and while it is away. Any thread may call any member, but only one at a time `begin` and `end`. Owned by shared
/// pointers, since announcements may outlive the bundle.
class AnnouncedNames : public std::enable_shared_from_this<AnnouncedNames> {
 public:
  /// \param onChange   called after each change, with no lock held
  /// \param onWarning  called for each record that cannot be read, once
  AnnouncedNames(std::function<void()> onChange, std::function<void(const std::string&)> onWarning);

  /// Sets where names are read and announcements are put. The registry calls `refresh` after each change.
  void begin(std::unique_ptr<Registry> registry);

  /// Announces an address, until the returned object is destroyed.
  /// \throws std::runtime_error before `begin` and after `end`
  std::unique_ptr<Announcement> add(const AnnouncedEndpoint& endpoint);

  /// Withdraws an announcement. If no memory is left for that, others learn of it after the next change.
  void remove(const std::string& id) noexcept;

  /// Reads the registry's entries again. Called on its thread.
  void refresh();

  /// Returns the addresses of a name, in the order of the announcements' IDs; empty if there is none.
  std::vector<DiscoveredAddress> of(const std::string& name) const;

  /// Returns why etcd's answers may be out of date; empty if they are current.
  std::string trouble() const;

  /// Withdraws all announcements and refuses further ones. Blocks as the registry's destructor does.
  void end();

 private:
  using Addresses = std::map<std::string, DiscoveredAddress>;  // by their announcements' IDs

  /// What this process announces.
  struct Own {
    std::string name;
    std::string key;  ///< the registry's
    DiscoveredAddress address;
    bool isWithdrawn = false;  ///< and yet to be removed from the registry
  };

  void removeWithdrawn();

  const std::function<void()> onChange_;

  std::mutex refreshing_;  // taken before `mutex_`

  // Guarded by `refreshing_`:
  agent::spf::etcd::RecordReader reader_;

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::unique_ptr<Registry> registry_;      ///< null before `begin` and after `end`
  std::map<std::string, Own> own_;          ///< by their IDs
  std::map<std::string, Addresses> found_;  ///< those of etcd, by names
};

}  // namespace spf::etcddiscovery
