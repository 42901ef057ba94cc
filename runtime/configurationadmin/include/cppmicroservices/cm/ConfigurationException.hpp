#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace cppmicroservices::service::cm {

/// Reports that a service cannot use a configuration.
class [[gnu::visibility("default")]] ConfigurationException : public std::runtime_error {
 public:
  /// \param property  the name of the faulty property, if it is a single one
  explicit ConfigurationException(std::string reason, std::string property = {})
      : std::runtime_error("ConfigurationException due to " + reason +
                           (property.empty() ? std::string() : " (with property: " + property + ")")),
        reason_(std::move(reason)),
        property_(std::move(property)) {}

  std::string GetReason() const {
    return reason_;
  }
  std::string GetProperty() const {
    return property_;
  }

 private:
  std::string reason_;
  std::string property_;
};

}  // namespace cppmicroservices::service::cm
