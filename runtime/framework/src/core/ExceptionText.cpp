#include "core/ExceptionText.h"

#include <exception>

namespace cppmicroservices {

std::string currentExceptionText() {
  try {
    throw;
  } catch (const std::exception& error) {
    return error.what();
  } catch (...) {
    return "unknown";
  }
}

}  // namespace cppmicroservices
