#pragma once

#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <string>

namespace spf::test {

/// What a test has the scripted bundle do: it is called at each step of the bundle's activator.
struct Script {
  virtual ~Script() = default;
  /// \param step  "construct", "start", "stop" or "destroy"
  /// \param context  the context given to the activator; for the other two that of the free function
  virtual void run(const std::string& step, cppmicroservices::BundleContext context) = 0;
};

/// What the scripted bundle offers.
struct ContextProbe {
  virtual ~ContextProbe() = default;
  /// Returns what the free function GetBundleContext() gives in the bundle's code.
  virtual cppmicroservices::BundleContext contextOfTheCode() const = 0;
};

}  // namespace spf::test
