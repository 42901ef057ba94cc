#pragma once

#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

/// Compares endpoints with one of them.
///
/// An endpoint that is empty, or that is a list or map with an empty value at any depth, is equal to
/// nothing and is never compared: there are runtimes that crash then.
class EndpointEquality {
 public:
  /// \param endpoint  has to outlive this object
  explicit EndpointEquality(const cppmicroservices::Any& endpoint);

  /// Lets out what comparing the two throws.
  bool operator()(const cppmicroservices::Any& candidate) const {
    return text_ != nullptr ? isSameText(candidate) : isEqualValue(candidate);
  }

 private:
  // Nearly all endpoints are texts, and lists of them long: these are compared without asking for more than their type.
  bool isSameText(const cppmicroservices::Any& candidate) const {
    const auto* const text = cppmicroservices::any_cast<std::string>(&candidate);
    return text != nullptr && *text == *text_;
  }
  bool isEqualValue(const cppmicroservices::Any& candidate) const;

  const cppmicroservices::Any& endpoint_;
  const std::string* const text_;  // null if the endpoint is none
  const bool isComparable_;
};

}  // namespace agent::spf::frameworksetup
