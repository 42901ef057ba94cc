#pragma once

#include <map>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::discovery {

/// Discovery names from a table that the host puts among the framework's properties: an `AnyMap`
/// from each name to an address (text) or to a list of them.
///
///     options.frameworkProperties["spf.discovery"] = AnyMap({{"station", std::string("tcp://127.0.0.1:5555")}});
///
/// The table is read once, when the bundle starts. Entries of another type are left out.
class TableDiscovery : public agent::spf::frameworkinterfaces::Discovery {
 public:
  /// The framework property that holds the table.
  static constexpr auto property = "spf.discovery";

  /// \param table  the property's value; anything but an `AnyMap` is an empty table
  explicit TableDiscovery(const cppmicroservices::Any& table);

  std::vector<std::string> endpointsOf(const std::string& name) const override;

 private:
  std::map<std::string, std::vector<std::string>> endpoints_;
};

}  // namespace spf::discovery
