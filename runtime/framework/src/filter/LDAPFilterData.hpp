#pragma once

#include "filter/FilterExpression.hpp"

namespace cppmicroservices {

/// The state that the copies of one filter share.
class LDAPFilterData {
 public:
  FilterExpression expression;
};

}  // namespace cppmicroservices
