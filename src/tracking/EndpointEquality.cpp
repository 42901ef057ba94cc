#include "tracking/EndpointEquality.hpp"

#include <algorithm>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::any_cast;

namespace {

bool holdsEmptyValue(const Any& value) {
  if (value.Empty()) {
    return true;
  }
  if (const auto* list = any_cast<std::vector<Any>>(&value)) {
    return std::any_of(list->begin(), list->end(), holdsEmptyValue);
  }
  if (const auto* map = any_cast<cppmicroservices::AnyMap>(&value)) {
    for (const auto& entry : *map) {
      if (holdsEmptyValue(entry.second)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

EndpointEquality::EndpointEquality(const Any& endpoint)
    : endpoint_(endpoint), text_(any_cast<std::string>(&endpoint)), isComparable_(!holdsEmptyValue(endpoint)) {}

bool EndpointEquality::isEqualValue(const Any& candidate) const {
  return isComparable_ && !holdsEmptyValue(candidate) && candidate == endpoint_;
}

}  // namespace agent::spf::frameworksetup
