#pragma once

#include <set>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

/// One `Any` that holds a `std::string` per endpoint, in the set's order.
std::vector<cppmicroservices::Any> endpointList(const std::set<std::string>& endpoints);

}  // namespace agent::spf::frameworksetup
