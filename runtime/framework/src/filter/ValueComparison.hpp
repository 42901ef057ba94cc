#pragma once

#include "filter/FilterValue.hpp"

namespace cppmicroservices {

class Any;

enum class Relation { equal, approximate, atLeast, atMost };

/// Whether a property stands in that relation to a filter's value, whose text is read as the
/// property's type demands. Lists of strings and of Any do if one of their elements does. A property
/// of another kind can only be present; an empty one is not even that.
bool compares(const Any& property, Relation relation, const FilterValue& value);

}  // namespace cppmicroservices
