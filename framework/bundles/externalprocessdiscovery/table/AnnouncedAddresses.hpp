#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::discovery {

using agent::spf::frameworkinterfaces::AnnouncedEndpoint;
using agent::spf::frameworkinterfaces::Announcement;
using agent::spf::frameworkinterfaces::DiscoveredAddress;

/// The addresses that this process announces, by name and in the order of the announcements. Any thread may call any
/// member. Owned by shared pointers, since announcements may outlive the bundle.
class AnnouncedAddresses : public std::enable_shared_from_this<AnnouncedAddresses> {
 public:
  /// \param onChange  called after each change, with no lock held
  explicit AnnouncedAddresses(std::function<void()> onChange) : onChange_(std::move(onChange)) {}

  /// Adds an address, until the returned object is destroyed.
  /// \throws std::runtime_error after `end`
  std::unique_ptr<Announcement> add(const AnnouncedEndpoint& endpoint);

  /// Removes an address. If no memory is left, the next change reports this one too.
  void remove(const std::string& name, const std::string& id) noexcept;

  /// Returns the addresses of a name; empty if there is none.
  std::vector<DiscoveredAddress> of(const std::string& name) const;

  /// Refuses further addresses.
  void end();

 private:
  const std::function<void()> onChange_;

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::map<std::string, std::vector<DiscoveredAddress>> addresses_;
  bool isEnded_ = false;
};

}  // namespace spf::discovery
