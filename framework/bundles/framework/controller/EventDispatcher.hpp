#pragma once

#include <functional>
#include <memory>

#include <cppmicroservices/BundleContext.h>
#include "Withdrawals.hpp"
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::controller {

/// Delivers every report to all FrameworkListener services that are registered at that time, on a thread of its own,
/// one after the other. An exception of one listener does not affect the others. Health checks wait in the same queue,
/// so that a listener that does not return is noticed.
class EventDispatcher : public agent::spf::frameworkinterfaces::EventSink,
                        public agent::spf::frameworkinterfaces::HealthCheck,
                        public std::enable_shared_from_this<EventDispatcher> {
 public:
  /// Starts the dispatcher's thread.
  /// \param context  used to look up the listeners; has to be valid while events may be delivered
  explicit EventDispatcher(cppmicroservices::BundleContext context);

  void endpointBound(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void endpointConnected(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void allServicesPublished(const Origin& origin) override;
  void allServicesUnpublished(const Origin& origin) override;
  void failed(const Origin& origin, std::exception_ptr error) override;

  void check(std::function<void()> done) override;

  /// Returns the publishers that are being withdrawn, which the reports keep up to date.
  Withdrawals& withdrawals() noexcept { return withdrawals_; }

  /// Refuses further reports and health checks, and blocks until those already made are done. If a listener calls it
  /// inside an event, it returns at once, and the remaining ones are done on the same thread after that event.
  void stop();

 private:
  void post(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event);
  void deliver(const std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent>& event);

  // Constant after construction:
  const cppmicroservices::BundleContext context_;

  // Synchronised by themselves:
  Withdrawals withdrawals_;
  agent::spf::frameworksupport::SerialExecutor executor_;
};

}  // namespace spf::controller
