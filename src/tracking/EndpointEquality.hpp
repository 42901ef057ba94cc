#pragma once

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
  bool operator()(const cppmicroservices::Any& candidate) const;

 private:
  const cppmicroservices::Any& endpoint_;
  const bool isComparable_;
};

}  // namespace agent::spf::frameworksetup
