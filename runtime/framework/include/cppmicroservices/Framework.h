#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <ostream>
#include <string>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkConfig.h"

namespace cppmicroservices {

class FrameworkEvent;

/// A handle to a framework, which is its own system bundle (ID 0). See Bundle for its lifetime, and FrameworkFactory
/// for how to make one. Several frameworks in one process are independent of one another.
///
/// The states are INSTALLED (new), STARTING (after Init), ACTIVE (after Start), STOPPING and RESOLVED (after Stop). A
/// stopped framework can be started again, with a new context and without bundles and services.
class US_Framework_EXPORT Framework : public Bundle {
 public:
  /// \throws std::invalid_argument if there is no bundle, std::logic_error if it is not a framework's system bundle
  explicit Framework(Bundle bundle);
  Framework(const Framework& other);
  Framework(Framework&& other) noexcept;
  Framework& operator=(const Framework& other);
  Framework& operator=(Framework&& other) noexcept;

  /// Makes the framework's context valid, so that listeners and services can be added before Start.
  /// Installs the bundles in the program's own file, if there are any. Does nothing in the states STARTING and ACTIVE.
  /// \throws std::runtime_error while the framework is stopping, or if a bundle in the program's file is broken
  void Init();

  /// Blocks until the framework is stopped, and then runs the function that the framework property
  /// Constants::FRAMEWORK_EXTRA_SHUTDOWN_FUNC holds, if any.
  /// \param timeout  how long to wait; zero waits without limit, a negative one does not wait
  /// \return an event of type FRAMEWORK_STOPPED after a stop or if there is nothing to stop,
  ///         FRAMEWORK_WAIT_TIMEDOUT if the time-out has passed (another call continues the wait), and FRAMEWORK_ERROR
  ///         if the calling thread is the one that stops the framework, which cannot wait for itself
  FrameworkEvent WaitForStop(const std::chrono::milliseconds& timeout);

 private:
  friend class FrameworkFactory;

  Framework(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkLease> lease);
};

}  // namespace cppmicroservices
