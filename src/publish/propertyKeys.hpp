#pragma once

namespace agent::spf::frameworksetup {

// Keys of a published configuration that are written on one side of the library and read on the other.
inline constexpr const char* servicePublisherConfigurationsKey = "servicePublisherConfigurations";
inline constexpr const char* modificationCountKey = "modificationCount";
inline constexpr const char* configKey = "config";
inline constexpr const char* nameKey = "name";
inline constexpr const char* uniqueIDKey = "uniqueID";
inline constexpr const char* endpointsToBindToKey = "endpointsToBindTo";
inline constexpr const char* endpointsToConnectToKey = "endpointsToConnectTo";

}  // namespace agent::spf::frameworksetup
