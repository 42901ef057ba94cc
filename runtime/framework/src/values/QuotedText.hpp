#pragma once

#include <string>

namespace cppmicroservices::detail {

/// Returns a text as JSON, as printQuoted() writes it.
std::string quoted(const std::string& text);

}  // namespace cppmicroservices::detail
