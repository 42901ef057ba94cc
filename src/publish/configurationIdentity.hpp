#pragma once

#include <string>

namespace agent::spf::frameworksetup {

/// Factory PID of every configuration; the configuration's ID is the instance name.
inline constexpr const char* frameworkFactoryPID = "zk.spf.framework";

/// Length of what stands before the instance name in a PID: the factory PID and one separator.
inline constexpr std::string::size_type instanceNameOffset = std::char_traits<char>::length(frameworkFactoryPID) + 1;

}  // namespace agent::spf::frameworksetup
