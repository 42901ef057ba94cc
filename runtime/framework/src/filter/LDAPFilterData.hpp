#pragma once

#include "filter/FilterExpression.hpp"

namespace cppmicroservices {

/// What the copies of one filter share.
class LDAPFilterData {
 public:
  FilterExpression expression;
};

}  // namespace cppmicroservices
