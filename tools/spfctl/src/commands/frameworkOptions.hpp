#pragma once

#include <string>
#include <utility>

#include <cppmicroservices/Any.h>

namespace spfctl {

/// Reads a property of the framework as the command line gives it, `NAME=VALUE`: a value that begins with `{` or `[` is
/// JSON, which becomes an `AnyMap` or a `std::vector<Any>`, any other is a text.
/// \throws UsageError naming what is wrong: no name, JSON that is none with its line and column in the value, a
/// property
///         that the host sets itself
std::pair<std::string, cppmicroservices::Any> frameworkProperty(const std::string& text);

}  // namespace spfctl
