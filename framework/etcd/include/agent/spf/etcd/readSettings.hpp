#pragma once

#include <functional>
#include <optional>
#include <string>

#include "agent/spf/etcd/Settings.hpp"

namespace agent::spf::etcd {

/// Returns the text of a framework property; no value if it is not set.
using PropertyReader = std::function<std::optional<std::string>(const std::string& name)>;

/// Reads the settings from framework properties: `spf.discovery.etcd` (the members), and `.ttl` (whole seconds),
/// `.prefix`, `.ca`, `.cert`, `.key`, `.user`, `.password_file` behind that name.
/// \return no value without `spf.discovery.etcd`
/// \throws std::invalid_argument  naming the property, what it holds and what was expected
std::optional<Settings> readSettings(const PropertyReader& property);

}  // namespace agent::spf::etcd
