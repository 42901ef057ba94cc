#pragma once

#include <string>

namespace cppmicroservices {

/// Returns the text of the exception that is being handled; "unknown" if it is no std::exception.
std::string currentExceptionText();

}  // namespace cppmicroservices
