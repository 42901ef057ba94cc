#pragma once

#include <stdexcept>
#include <string>

#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

/// Reports a call of a method on an object in the wrong state, above all on a bundle context whose bundle is no longer
/// started.
class US_Framework_EXPORT IllegalStateException final : public std::runtime_error {
 public:
  explicit IllegalStateException(std::string what);
  ~IllegalStateException() override;
};

}  // namespace cppmicroservices
