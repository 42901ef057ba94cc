#pragma once

#include <string>
#include <vector>

namespace agent::spf::frameworkinterfaces {

/// A service that knows where the processes behind a discovery name are reached.
///
/// Any thread may call it, several at once. Nothing blocks.
class [[gnu::visibility("default")]] Discovery {
 public:
  virtual ~Discovery() = default;

  /// \return addresses as a Transport takes them; empty when the name is unknown
  virtual std::vector<std::string> endpointsOf(const std::string& name) const = 0;
};

}  // namespace agent::spf::frameworkinterfaces
