#pragma once

#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

class Framework;

using FrameworkConfiguration = std::unordered_map<std::string, Any>;

/// Makes frameworks. It has no state; any thread may use it.
class US_Framework_EXPORT FrameworkFactory {
 public:
  /// Makes a framework in the state INSTALLED.
  /// \param configuration  the framework's properties; missing ones that it needs are added
  /// \param logger  the stream for diagnostics, which are written if the property Constants::FRAMEWORK_LOG is true
  ///        (null: std::clog); has to outlive the framework
  /// \throws BadAnyCastException if a property that the framework reads has the wrong type
  Framework NewFramework(const FrameworkConfiguration& configuration, std::ostream* logger = nullptr);
  Framework NewFramework();
  US_DEPRECATED Framework NewFramework(const std::map<std::string, Any>& configuration, std::ostream* logger = nullptr);
};

}  // namespace cppmicroservices
