#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworklistener {

/// The head of every event record; `kind` names the type of the record.
struct FrameworkEvent {
  static constexpr std::uint32_t services = 0;  ///< a ServicesEvent
  static constexpr std::uint32_t error = 1;     ///< an ErrorEvent
  static constexpr std::uint32_t endpoint = 2;  ///< an EndpointEvent

  std::uint32_t kind;  ///< one of those above; values that are not known here may be added
};

/// Reports that all services of one publisher were published or unpublished.
struct ServicesEvent : FrameworkEvent {
  static constexpr std::uint32_t allPublished = 0;    ///< all services are published
  static constexpr std::uint32_t allUnpublished = 1;  ///< all services are unpublished

  std::uint32_t change;             ///< one of those above
  std::string servicePublisherID;   ///< the publisher's uniqueID
  std::uint32_t modificationCount;  ///< the revision of the configuration that the event is about
};

/// Reports that a publisher failed permanently.
struct ErrorEvent : FrameworkEvent {
  std::exception_ptr error;         ///< the reason
  std::string servicePublisherID;   ///< the publisher's uniqueID
  std::uint32_t modificationCount;  ///< the revision of the configuration that the event is about
};

/// Reports that an endpoint of a publisher is bound or connected.
struct EndpointEvent : FrameworkEvent {
  static constexpr std::uint32_t bound = 0;           ///< bound by this revision
  static constexpr std::uint32_t stillBound = 1;      ///< bound by an earlier revision and kept
  static constexpr std::uint32_t connected = 2;       ///< connected by this revision
  static constexpr std::uint32_t stillConnected = 3;  ///< connected by an earlier revision and kept

  std::uint32_t change;             ///< one of those above
  cppmicroservices::Any endpoint;   ///< as configured
  std::string servicePublisherID;   ///< the publisher's uniqueID
  std::uint32_t modificationCount;  ///< the revision of the configuration that the event is about
};

/// A service that receives the events of the framework's configurations.
///
/// The framework calls every service registered under this class, for the events of all configurations, from any
/// thread and from several at once; a listener synchronises itself. Unregistration does not wait for a call of
/// `handleEvent` that is under way.
///
/// Inside `handleEvent` a listener may register and unregister services (itself too), publish and withdraw
/// configurations, wait for Configuration Admin, and start, stop and uninstall any bundle, including the
/// sender's. Stopping the sender in its own event returns before all events are delivered: the remaining ones are
/// delivered on that thread after the listener has returned, and nothing waits for them. A listener must not wait
/// there for another event, for another thread that stops the sender, or for the end of the framework: all of these
/// wait for the listener.
///
/// Senders deliver events from a thread of their own, hold no lock meanwhile, and never deliver from inside a service
/// registration, an unregistration or a Configuration Admin callback. A listener may register and unregister services
/// in response to an event, which runs service listeners on the sending thread, so a sender that breaks this rule can
/// deadlock.
class [[gnu::visibility("default")]] FrameworkListener {
 public:
  /// Handles one event; called once for each. Exceptions are propagated to the sender.
  /// \param event  the record of the type that its `kind` names; never null
  virtual void handleEvent(std::shared_ptr<const FrameworkEvent> event) {
    event.reset();
  }

  virtual ~FrameworkListener() = default;
};

}  // namespace agent::spf::frameworklistener
