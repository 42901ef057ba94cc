#pragma once

#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

/// The endpoints that a publisher still has to connect to (first) and to bind to (second).
using OutstandingEndpoints = std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>;

}  // namespace agent::spf::frameworksetup
