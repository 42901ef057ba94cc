#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// Reports that a bundle's library could not be loaded, with the loader's text.
class US_Framework_EXPORT SharedLibraryException final : public std::system_error {
 public:
  explicit SharedLibraryException(std::error_code code, std::string what, Bundle origin);
  ~SharedLibraryException() override;

  /// Returns the bundle to which the library belongs.
  Bundle GetBundle() const;

 private:
  Bundle origin_;
};

}  // namespace cppmicroservices
