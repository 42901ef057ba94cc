#pragma once

#include <memory>

#include <cppmicroservices/LDAPFilter.h>

namespace cppmicroservices::service::cm {
class ConfigurationAdmin;
}  // namespace cppmicroservices::service::cm

namespace agent::spf::frameworksetup {

/// Looks up the Configuration Admin service of the process-wide framework, anew at each call.
/// \param filter  which registrations to consider; the empty filter takes all
/// \return the best one; null without a framework or without such a service, also when the service was
///         unregistered between the look-up and its use
/// \throws std::runtime_error "The bundle context is no longer valid" when the framework was stopped
/// Any thread may call it.
std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> getConfigurationAdmin(
    const cppmicroservices::LDAPFilter& filter);

/// The same for all registrations.
std::shared_ptr<cppmicroservices::service::cm::ConfigurationAdmin> getConfigurationAdmin();

}  // namespace agent::spf::frameworksetup
