#include "cppmicroservices/LDAPFilter.h"

#include <ostream>

#include "filter/FilterExpression.hpp"
#include "filter/FilterParser.hpp"
#include "filter/LDAPFilterData.hpp"
#include "filter/PropertyLookup.hpp"

namespace cppmicroservices {

LDAPFilter::LDAPFilter() = default;

LDAPFilter::LDAPFilter(std::string const& filter)
    : data_(std::make_shared<LDAPFilterData const>(LDAPFilterData{parseFilter(filter)})) {}

LDAPFilter::LDAPFilter(LDAPFilter const& other) = default;
LDAPFilter& LDAPFilter::operator=(LDAPFilter const& other) = default;
LDAPFilter::~LDAPFilter() = default;

LDAPFilter::operator bool() const {
  return data_ != nullptr;
}

bool LDAPFilter::Match(AnyMap const& dictionary) const {
  if (!data_) {
    return false;
  }
  requireNoCaseVariants(dictionary);
  return data_->expression.matches(lookupIgnoringCase(dictionary));
}

bool LDAPFilter::MatchCase(AnyMap const& dictionary) const {
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

bool LDAPFilter::operator==(LDAPFilter const& other) const {
  return ToString() == other.ToString();
}

std::ostream& operator<<(std::ostream& out, LDAPFilter const& filter) {
  return out << filter.ToString();
}

}  // namespace cppmicroservices
