#pragma once

#include <stdexcept>
#include <string>

#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

/// Reports that a bundle was refused for reasons of security.
class US_Framework_EXPORT SecurityException final : public std::runtime_error {
 public:
  explicit SecurityException(std::string what, Bundle origin);
  ~SecurityException() override;

  /// Returns the bundle that was refused.
  Bundle GetBundle() const;

 private:
  Bundle origin_;
};

}  // namespace cppmicroservices
