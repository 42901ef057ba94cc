#pragma once

#include <functional>
#include <string>

namespace cppmicroservices {

class Any;
class AnyMap;

/// Where a filter finds the property of a name; gives null if there is none.
using PropertyLookup = std::function<Any const*(std::string const& name)>;

/// Looks names up without regard to case.
PropertyLookup lookupIgnoringCase(AnyMap const& properties);

/// Looks names up to the letter.
PropertyLookup lookupExactly(AnyMap const& properties);

/// \throws std::runtime_error if two keys of the map differ only in case
void requireNoCaseVariants(AnyMap const& properties);

}  // namespace cppmicroservices
