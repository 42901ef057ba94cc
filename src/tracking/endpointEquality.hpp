#pragma once

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

/// Whether the value is empty, or is a list or map that holds an empty value at any depth. Runtimes
/// exist that crash when such values are compared, so they are equal to nothing here.
bool holdsEmptyValue(const cppmicroservices::Any& value);

}  // namespace agent::spf::frameworksetup
