#include "model/endpointList.hpp"

namespace agent::spf::frameworksetup {

std::vector<cppmicroservices::Any> endpointList(const std::set<std::string>& endpoints) {
  return std::vector<cppmicroservices::Any>(endpoints.begin(), endpoints.end());
}

}  // namespace agent::spf::frameworksetup
