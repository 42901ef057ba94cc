#pragma once

#include "filter/FilterValue.hpp"

namespace cppmicroservices {

class Any;

enum class Relation { equal, approximate, atLeast, atMost };

/// Returns whether a property compares as given to a filter's value, whose text is converted to the property's type. A
/// list of strings or of Any matches if one of its elements does. A property of another type matches only the test for
/// presence, and an empty one does not match even that.
bool compares(const Any& property, Relation relation, const FilterValue& value);

}  // namespace cppmicroservices
