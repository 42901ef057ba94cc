#pragma once

#include <string>

#include <cppmicroservices/Any.h>

namespace spf::publishers {

/// Returns the name of this process's key.
/// \param value  that of the framework property `spf.curve.name`
/// \return empty if it has none
/// \throws std::runtime_error naming the property and what was expected
std::string readKeyName(const cppmicroservices::Any& value);

}  // namespace spf::publishers
