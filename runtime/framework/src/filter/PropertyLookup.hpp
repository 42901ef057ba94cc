#pragma once

#include <functional>
#include <string>

namespace cppmicroservices {

class Any;
class AnyMap;

/// Where a filter finds the property of a name; gives null if there is none.
using PropertyLookup = std::function<const Any*(const std::string& name)>;

/// Looks names up without regard to case.
PropertyLookup lookupIgnoringCase(const AnyMap& properties);

/// Looks names up to the letter.
PropertyLookup lookupExactly(const AnyMap& properties);

/// \throws std::runtime_error if two keys of the map differ only in case
void requireNoCaseVariants(const AnyMap& properties);

}  // namespace cppmicroservices
