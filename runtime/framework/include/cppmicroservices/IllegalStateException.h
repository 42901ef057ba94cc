#pragma once

#include <stdexcept>
#include <string>

#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// A method was called on an object that is in the wrong state for it, above all on a bundle context
/// whose bundle is no longer started.
class US_Framework_EXPORT IllegalStateException final : public std::runtime_error {
 public:
  explicit IllegalStateException(std::string what);
  ~IllegalStateException() override;
};

}  // namespace cppmicroservices
