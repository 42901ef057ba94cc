#pragma once

#include <string>

namespace agent::spf::frameworksetup {

/// Asks Configuration Admin to delete a configuration, without waiting for it to happen. Does nothing
/// for the empty ID or when there is no Configuration Admin. What Configuration Admin or the log
/// throws is propagated unchanged.
void removeFromConfigurationAdmin(const std::string& configurationID);

/// The same for destructors: what is thrown is dropped.
void removeFromConfigurationAdminQuietly(const std::string& configurationID) noexcept;

}  // namespace agent::spf::frameworksetup
