#pragma once

#include <memory>

#include <cppmicroservices/BundleContext.h>

#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "agent/spf/frameworkinterfaces/SerialExecutor.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace spf::controller {

/// Sends every report to all FrameworkListener services there are at that time, from a thread of
/// its own, one after the other. A listener that throws keeps no other from the event.
class EventDispatcher : public agent::spf::frameworkinterfaces::EventSink {
 public:
  explicit EventDispatcher(cppmicroservices::BundleContext context);

  void endpointBound(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void endpointConnected(const Origin& origin, const cppmicroservices::Any& endpoint, bool kept) override;
  void allServicesPublished(const Origin& origin) override;
  void allServicesUnpublished(const Origin& origin) override;
  void failed(const Origin& origin, std::exception_ptr error) override;

  /// Delivers what was reported, then refuses more. Waits for listeners that are at work.
  void stop() { executor_.stop(); }

 private:
  void post(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event);
  void deliver(const std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent>& event) const;

  const cppmicroservices::BundleContext context_;
  agent::spf::frameworkinterfaces::SerialExecutor executor_;
};

}  // namespace spf::controller
