#pragma once

#include <string>

namespace cppmicroservices {

/// \return what the exception that is just being handled says; "unknown" if it is no std::exception
std::string currentExceptionText();

}  // namespace cppmicroservices
