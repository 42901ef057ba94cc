#pragma once

#include <stdexcept>
#include <string>
#include <system_error>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// A bundle's library could not be loaded; the text is the loader's.
class US_Framework_EXPORT SharedLibraryException final : public std::system_error {
 public:
  explicit SharedLibraryException(std::error_code code, std::string what, Bundle origin);
  ~SharedLibraryException() override;

  /// \return the bundle whose library it is
  Bundle GetBundle() const;

 private:
  Bundle origin_;
};

}  // namespace cppmicroservices
