#pragma once

#include <cppmicroservices/Any.h>
#include <boost/property_tree/ptree.hpp>

#include "file/JsonDocument.hpp"

namespace spfctl {

/// Converts a JSON value to an endpoint: text, `int` (`double` for a number that is no `int`), `bool`,
/// list, map, or the empty value for null.
/// Two keys of one object that differ in case only are an error; the first one's value is kept.
cppmicroservices::Any toAny(const JsonValue& value, Findings& findings);

/// Converts a JSON value to the tree that Boost reads it as: scalars as text, array elements under empty keys.
boost::property_tree::ptree toTree(const JsonValue& value);

}  // namespace spfctl
