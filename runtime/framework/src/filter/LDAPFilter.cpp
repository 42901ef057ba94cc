#include "cppmicroservices/LDAPFilter.h"

#include <ostream>

#include "filter/FilterExpression.hpp"
#include "filter/FilterParser.hpp"
#include "filter/LDAPFilterData.hpp"
#include "filter/PropertyLookup.hpp"

namespace cppmicroservices {

LDAPFilter::LDAPFilter() = default;

LDAPFilter::LDAPFilter(const std::string& filter)
    : data_(std::make_shared<const LDAPFilterData>(LDAPFilterData{parseFilter(filter)})) {}

LDAPFilter::LDAPFilter(const LDAPFilter& other) = default;
LDAPFilter& LDAPFilter::operator=(const LDAPFilter& other) = default;
LDAPFilter::~LDAPFilter() = default;

LDAPFilter::operator bool() const {
  return data_ != nullptr;
}

bool LDAPFilter::Match(const AnyMap& dictionary) const {
  if (!data_) {
    return false;
  }
  requireNoCaseVariants(dictionary);
  return data_->expression.matches(lookupIgnoringCase(dictionary));
}

bool LDAPFilter::MatchCase(const AnyMap& dictionary) const {
  if (!data_) {
    return false;
  }
  requireNoCaseVariants(dictionary);
  return data_->expression.matches(lookupExactly(dictionary));
}

std::string LDAPFilter::ToString() const {
  std::string text;
  if (data_) {
    data_->expression.print(text);
  }
  return text;
}

bool LDAPFilter::operator==(const LDAPFilter& other) const {
  return ToString() == other.ToString();
}

std::ostream& operator<<(std::ostream& out, const LDAPFilter& filter) {
  return out << filter.ToString();
}

}  // namespace cppmicroservices
