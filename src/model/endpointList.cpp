#include "model/endpointList.hpp"

namespace agent::spf::frameworksetup {

std::vector<cppmicroservices::Any> endpointList(const std::set<std::string>& endpoints) {
  std::vector<cppmicroservices::Any> list;
  list.reserve(endpoints.size());
  for (const auto& endpoint : endpoints) {
    list.emplace_back(endpoint);
  }
  return list;
}

}  // namespace agent::spf::frameworksetup
