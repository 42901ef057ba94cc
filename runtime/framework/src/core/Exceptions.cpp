#include <utility>

#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/SecurityException.h"
#include "cppmicroservices/SharedLibraryException.h"

// The destructors are defined here so that the type information of the exceptions is in one library.
namespace cppmicroservices {

IllegalStateException::IllegalStateException(std::string what) : std::runtime_error(what) {}
IllegalStateException::~IllegalStateException() = default;

SecurityException::SecurityException(std::string what, Bundle origin)
    : std::runtime_error(what), origin_(std::move(origin)) {}
SecurityException::~SecurityException() = default;

Bundle SecurityException::GetBundle() const {
  return origin_;
}

SharedLibraryException::SharedLibraryException(std::error_code code, std::string what, Bundle origin)
    : std::system_error(code, what), origin_(std::move(origin)) {}
SharedLibraryException::~SharedLibraryException() = default;

Bundle SharedLibraryException::GetBundle() const {
  return origin_;
}

}  // namespace cppmicroservices
