#pragma once

#include <map>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include "agent/spf/frameworkinterfaces/Discovery.hpp"

namespace spf::discovery {

/// Resolves discovery names by a table among the framework's properties: an `AnyMap` from each name to an address
/// (text) or to a list of addresses.
///
///     options.frameworkProperties["spf.discovery"] = AnyMap({{"station", std::string("tcp://127.0.0.1:5555")}});
///
/// The table is read once, when the bundle starts. Entries of other types are ignored.
class TableDiscovery : public agent::spf::frameworkinterfaces::Discovery {
 public:
  /// The key of the framework property that holds the table.
  static constexpr auto property = "spf.discovery";

  /// Reads the table.
  /// \param table  the property's value; any type but `AnyMap` stands for an empty table
  explicit TableDiscovery(const cppmicroservices::Any& table);

  std::vector<std::string> endpointsOf(const std::string& name) const override;

 private:
  std::map<std::string, std::vector<std::string>> endpoints_;
};

}  // namespace spf::discovery
