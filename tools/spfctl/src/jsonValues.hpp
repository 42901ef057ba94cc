#pragma once

#include <cppmicroservices/Any.h>
#include <boost/property_tree/ptree.hpp>

#include "JsonDocument.hpp"

namespace spfctl {

/// The value that an endpoint of this JSON value is: text, `int` (or `double` where it is none that
/// fits), `bool`, list, map, or the empty value for null.
/// \throws FileError for an object with two keys that differ in case only
cppmicroservices::Any toAny(const JsonDocument& document, const JsonValue& value);

/// The tree that Boost reads this JSON value as: all scalars as text, array elements under empty keys.
boost::property_tree::ptree toTree(const JsonValue& value);

}  // namespace spfctl
