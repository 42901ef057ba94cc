#include "TableDiscovery.hpp"

#include <cppmicroservices/AnyMap.h>

namespace spf::discovery {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

namespace {

std::vector<std::string> textsOf(const Any& value) {
  if (const auto* text = any_cast<std::string>(&value)) {
    return {*text};
  }
  std::vector<std::string> texts;
  if (const auto* list = any_cast<std::vector<Any>>(&value)) {
    for (const Any& element : *list) {
      if (const auto* text = any_cast<std::string>(&element)) {
        texts.push_back(*text);
      }
    }
  }
  return texts;
}

}  // namespace

TableDiscovery::TableDiscovery(const Any& table) {
  const auto* map = any_cast<AnyMap>(&table);
  if (map == nullptr) {
    return;
  }
  for (const auto& [name, value] : *map) {
    endpoints_[name] = textsOf(value);
  }
}

std::vector<std::string> TableDiscovery::endpointsOf(const std::string& name) const {
  const auto found = endpoints_.find(name);
  return found != endpoints_.end() ? found->second : std::vector<std::string>();
}

}  // namespace spf::discovery
