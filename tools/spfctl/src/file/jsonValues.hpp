#pragma once

#include <cppmicroservices/Any.h>
#include <boost/property_tree/ptree.hpp>

#include "file/JsonDocument.hpp"

namespace spfctl {

/// Converts a JSON value to an endpoint: text, `int` (`double` for a number that is no `int`), `bool`,
/// list, map, or the empty value for null.
/// \throws FileError for an object with two keys that differ in case only
cppmicroservices::Any toAny(const JsonDocument& document, const JsonValue& value);

/// Converts a JSON value to the tree that Boost reads it as: scalars as text, array elements under empty keys.
boost::property_tree::ptree toTree(const JsonValue& value);

}  // namespace spfctl
