#pragma once

#include <memory>

#include <cppmicroservices/BundleContext.h>
#include "Withdrawals.hpp"
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::controller {

/// Sends every report to all FrameworkListener services there are at that time, from a thread of
/// its own, one after the other. A listener that throws keeps no other from the event.
class EventDispatcher : public agent::spf::frameworkinterfaces::EventSink,
                        public std::enable_shared_from_this<EventDispatcher> {
 public:
  /// \param context  where listeners are looked up; valid for as long as events may be delivered
  explicit EventDispatcher(cppmicroservices::BundleContext context);

  void endpointBound(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void endpointConnected(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void allServicesPublished(const Origin& origin) override;
  void allServicesUnpublished(const Origin& origin) override;
  void failed(const Origin& origin, std::exception_ptr error) override;

  /// What the reports say about publishers that are being withdrawn.
  Withdrawals& withdrawals() noexcept { return withdrawals_; }

  /// Delivers what was reported, then refuses more. Waits for listeners that are at work, unless a listener
  /// calls it in an event: then it returns at once, and the rest is delivered on the same thread after that event.
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
