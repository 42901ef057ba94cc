#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace watchtest {

/// A framework without bundles. Sends events to the registered listeners, on the calling thread.
class SendingFramework {
 public:
  SendingFramework();
  ~SendingFramework();
  SendingFramework(const SendingFramework&) = delete;
  SendingFramework& operator=(const SendingFramework&) = delete;

  cppmicroservices::BundleContext context() const { return framework_.GetBundleContext(); }

  /// Stops the framework and waits until it has stopped. May be repeated.
  void stop();

  std::vector<std::shared_ptr<agent::spf::frameworklistener::FrameworkListener>> listeners() const;

  void sendBound(const std::string& publisher, std::uint32_t count) const;
  void sendPublished(const std::string& publisher, std::uint32_t count) const;
  void sendUnpublished(const std::string& publisher, std::uint32_t count) const;
  void sendError(const std::string& publisher, std::uint32_t count, std::exception_ptr error) const;
  void sendError(const std::string& publisher, std::uint32_t count, const char* reason) const;

  template <class Event>
  void send(Event event) const {
    const auto record = std::make_shared<const Event>(std::move(event));
    for (const auto& listener : listeners()) {
      listener->handleEvent(record);
    }
  }

 private:
  const std::string storage_;
  cppmicroservices::Framework framework_;
};

}  // namespace watchtest
