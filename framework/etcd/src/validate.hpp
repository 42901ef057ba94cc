#pragma once

#include <string>

#include "agent/spf/etcd/Settings.hpp"

namespace agent::spf::etcd {

/// Checks settings, but for the password.
/// \throws std::invalid_argument  naming the setting that cannot be used
void validate(const Settings& settings);

/// Returns the password of the settings' file, without a line break at its end; empty if there is no file.
/// \throws std::invalid_argument  if the file cannot be read
std::string readPassword(const Settings& settings);

}  // namespace agent::spf::etcd
