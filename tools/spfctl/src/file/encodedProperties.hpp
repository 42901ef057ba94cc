#pragma once

#include <cppmicroservices/AnyMap.h>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Returns the properties that Configuration Admin gets when the configuration is published for the first time, by the
/// library's own encoding.
cppmicroservices::AnyMap encodedProperties(const ConfigurationDescription& description);

}  // namespace spfctl
