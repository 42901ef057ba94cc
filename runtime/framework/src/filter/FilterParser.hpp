#pragma once

#include <string>

#include "filter/FilterExpression.hpp"

namespace cppmicroservices {

/// The greatest depth of nested filters; no text can exhaust the stack.
constexpr int maxFilterDepth = 2000;

/// Parses a filter.
/// \throws std::invalid_argument with the reason and the part of the text that could not be parsed
FilterExpression parseFilter(const std::string& text);

}  // namespace cppmicroservices
