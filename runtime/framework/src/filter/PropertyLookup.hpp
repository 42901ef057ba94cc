#pragma once

#include <functional>
#include <string>

namespace cppmicroservices {

class Any;
class AnyMap;

/// A function that returns the property with a name; null if there is none.
using PropertyLookup = std::function<const Any*(const std::string& name)>;

/// Returns a look-up that compares names without regard to case. The properties have to outlive it.
PropertyLookup lookupIgnoringCase(const AnyMap& properties);

/// Returns a look-up that compares names exactly. The properties have to outlive it.
PropertyLookup lookupExactly(const AnyMap& properties);

/// Requires that the keys of a map differ in more than their case.
/// \throws std::runtime_error if two keys of the map differ only in case
void requireNoCaseVariants(const AnyMap& properties);

}  // namespace cppmicroservices
