#pragma once

#include <string>
#include <vector>

namespace agent::spf::frameworkinterfaces {

/// A service that resolves discovery names to addresses.
///
/// Any thread may call it, several at once. No call blocks.
class [[gnu::visibility("default")]] Discovery {
 public:
  virtual ~Discovery() = default;

  /// Returns the addresses of a discovery name, in the form that Transport accepts; empty if the name is unknown.
  virtual std::vector<std::string> endpointsOf(const std::string& name) const = 0;
};

}  // namespace agent::spf::frameworkinterfaces
