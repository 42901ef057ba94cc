#include "core/HandleAccess.h"
#include "cppmicroservices/LDAPFilter.h"
#include "filter/LDAPFilterData.hpp"
#include "filter/PropertyLookup.hpp"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

bool LDAPFilter::Match(const ServiceReferenceBase& reference) const {
  const auto& record = detail::HandleAccess::recordOf(reference);
  if (!data_) {
    return false;
  }
  if (!record) {
    return data_->expression.matches([](const std::string&) { return nullptr; });
  }
  const auto properties = record->properties();
  return data_->expression.matches(lookupIgnoringCase(*properties));
}

bool LDAPFilter::Match(const Bundle& bundle) const {
  return data_ && Match(bundle.GetHeaders());
}

}  // namespace cppmicroservices
