#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworklistener {

/// What every event record starts with; `kind` says which record it is.
struct FrameworkEvent {
  static constexpr std::uint32_t services = 0;  ///< a ServicesEvent
  static constexpr std::uint32_t error = 1;     ///< an ErrorEvent
  static constexpr std::uint32_t endpoint = 2;  ///< an EndpointEvent

  std::uint32_t kind;
};

/// All services of one publisher were published, or unpublished.
struct ServicesEvent : FrameworkEvent {
  static constexpr std::uint32_t allPublished = 0;
  static constexpr std::uint32_t allUnpublished = 1;

  std::uint32_t change;
  std::string servicePublisherID;   ///< the publisher's uniqueID
  std::uint32_t modificationCount;  ///< the revision of the configuration that the framework acted on
};

/// A publisher failed for good.
struct ErrorEvent : FrameworkEvent {
  std::exception_ptr error;
  std::string servicePublisherID;
  std::uint32_t modificationCount;
};

/// An endpoint of a publisher came up.
struct EndpointEvent : FrameworkEvent {
  static constexpr std::uint32_t bound = 0;           ///< is bound since this revision
  static constexpr std::uint32_t stillBound = 1;      ///< was bound by an earlier revision and was kept
  static constexpr std::uint32_t connected = 2;       ///< is connected since this revision
  static constexpr std::uint32_t stillConnected = 3;  ///< was connected by an earlier revision and was kept

  std::uint32_t change;
  cppmicroservices::Any endpoint;  ///< as the configuration gave it
  std::string servicePublisherID;
  std::uint32_t modificationCount;
};

/// A service that wants to hear what the framework does with its configurations.
///
/// The framework calls every service registered under this class, for the events of all
/// configurations, from any thread and from several at once; a listener guards itself. A listener
/// can be inside `handleEvent` while it is unregistered: unregistration does not wait for it.
///
/// From inside `handleEvent` a listener may register and unregister services (itself too), publish and withdraw
/// configurations, wait for Configuration Admin, and start, stop and uninstall any bundle, that of the sender
/// included. The stop of a sender in its own event returns before everything is delivered: the remaining events follow
/// on that thread once the listener has returned, and nothing waits for them. A listener must not wait there for
/// another event, for another thread that stops the sender, or for the end of the framework: all of these wait for the
/// listener.
///
/// For those who send: report from a thread of your own, hold no lock meanwhile, and never report
/// from inside a service registration, an unregistration or a Configuration Admin callback. A
/// listener may register and unregister services in answer to an event, which runs service
/// listeners on the sending thread, so a sender that breaks this rule can deadlock.
class [[gnu::visibility("default")]] FrameworkListener {
 public:
  /// Called once for every event. What it throws goes to the sender.
  /// \param event  the record that its `kind` names; never null
  virtual void handleEvent(std::shared_ptr<const FrameworkEvent> event) {
    event.reset();
  }

  virtual ~FrameworkListener() = default;
};

}  // namespace agent::spf::frameworklistener
