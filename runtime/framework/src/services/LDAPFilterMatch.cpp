#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceReferenceBase.h"
#include "filter/LDAPFilterData.hpp"
#include "filter/PropertyLookup.hpp"

namespace cppmicroservices {

bool LDAPFilter::Match(const ServiceReferenceBase& reference) const {
  if (!data_) {
    return false;
  }
  Any property;  // the last one that was looked up; a comparison needs no other
  return data_->expression.matches([&](const std::string& name) {
    property = reference.GetProperty(name);
    return &property;
  });
}

bool LDAPFilter::Match(const Bundle& bundle) const {
  return data_ && Match(bundle.GetHeaders());
}

}  // namespace cppmicroservices
