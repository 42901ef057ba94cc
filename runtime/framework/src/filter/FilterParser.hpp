#pragma once

#include <string>

#include "filter/FilterExpression.hpp"

namespace cppmicroservices {

/// How deep filters may be nested, so that no text can exhaust the stack.
constexpr int maxFilterDepth = 2000;

/// \throws std::invalid_argument with the reason and the text from where it could not be parsed
FilterExpression parseFilter(const std::string& text);

}  // namespace cppmicroservices
