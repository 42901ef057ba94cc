#pragma once

#include <memory>

#include <cppmicroservices/LDAPFilter.h>

namespace cppmicroservices::service::cm {
class ConfigurationAdmin;
}  // namespace cppmicroservices::service::cm

namespace agent::spf::frameworksetup {

/// Looks the Configuration Admin service of the process-wide framework up, anew each time.
/// \param filter  which registrations to consider; the empty filter takes all
/// \return the best one; null when there is no framework or no such service
/// \throws std::runtime_error "The bundle context is no longer valid" when the framework was stopped
/// Any thread may call it.
std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> getConfigurationAdmin(
    const cppmicroservices::LDAPFilter& filter = cppmicroservices::LDAPFilter());

}  // namespace agent::spf::frameworksetup
