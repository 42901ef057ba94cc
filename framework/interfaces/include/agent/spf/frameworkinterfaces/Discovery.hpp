#pragma once

#include <string>
#include <vector>

namespace agent::spf::frameworkinterfaces {

/// A service that resolves discovery names to addresses.
///
/// Any thread may call it, several at once. No call blocks. When more names become known, the bundle changes a property
/// of the service's registration: publishers then look up again the names that were unknown.
class [[gnu::visibility("default")]] Discovery {
 public:
  virtual ~Discovery() = default;

  /// Returns the addresses of a discovery name, in the form that Transport accepts; empty if the name is unknown.
  /// \throws std::runtime_error with the reason if the addresses cannot be known now
  virtual std::vector<std::string> endpointsOf(const std::string& name) const = 0;
};

}  // namespace agent::spf::frameworkinterfaces
