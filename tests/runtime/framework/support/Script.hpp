#pragma once

#include <cppmicroservices/BundleContext.h>

#include <functional>
#include <string>

namespace spf::test {

/// A function of a test that the scripted bundle calls at each step of its activator.
struct Script {
  virtual ~Script() = default;
  /// Runs the test's code.
  /// \param step  "construct", "start", "stop" or "destroy"
  /// \param context  the context given to the activator; for "construct" and "destroy" that of the free function
  virtual void run(const std::string& step, cppmicroservices::BundleContext context) = 0;
};

/// The service that the scripted bundle offers.
struct ContextProbe {
  virtual ~ContextProbe() = default;
  /// Returns the result of the free function GetBundleContext() in the bundle's code.
  virtual cppmicroservices::BundleContext contextOfTheCode() const = 0;
};

}  // namespace spf::test
