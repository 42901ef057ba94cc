#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include "AnnouncedAddresses.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::discovery {

/// Resolves discovery names inside this process: to fixed entries, which are read once, and to the addresses that the
/// process announces. The fixed entries are a table among the framework's properties: an `AnyMap` from each name to an
/// address (text) or to a list of addresses, with or without names of keys (`tcp://host:port#name`). Entries of other
/// types are ignored.
///
///     options.frameworkProperties["spf.discovery"] = AnyMap({{"station", std::string("tcp://127.0.0.1:5555")}});
class TableDiscovery : public agent::spf::frameworkinterfaces::Discovery {
 public:
  /// The key of the framework property that holds the table.
  static constexpr auto property = "spf.discovery";

  /// Reads the table.
  /// \param table     the property's value; any type but `AnyMap` stands for an empty table
  /// \param onChange  called after each change of what a name stands for, with no lock held
  TableDiscovery(const cppmicroservices::Any& table, std::function<void()> onChange);

  std::vector<DiscoveredAddress> addressesOf(const std::string& name) const override;
  std::unique_ptr<Announcement> announce(const AnnouncedEndpoint& endpoint) override;

  /// Refuses further announcements.
  void end() { announced_->end(); }

 private:
  std::map<std::string, std::vector<DiscoveredAddress>> fixed_;
  const std::shared_ptr<AnnouncedAddresses> announced_;
};

}  // namespace spf::discovery
