#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>
#include "AllowedAskers.hpp"
#include "EndpointStates.hpp"
#include "PeerAnswer.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::AnnouncedEndpoint;
using agent::spf::frameworkinterfaces::Announcement;
using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointTries;

/// Identifies a socket that this bundle requested from a transport.
using SocketID = std::uint64_t;

enum class SocketEvent { trying, opened, lost, refused, warned, failed, closed };

/// A transport's report about a socket.
struct SocketReport {
  SocketEvent event = SocketEvent::trying;

  /// The address of `opened`, the reason of `lost`, `warned` and `failed`, count and reason of `refused`, all of
  /// `trying`.
  EndpointTries details;
};

/// How far a socket is, or an endpoint that has none.
struct Progress {
  using Phase = EndpointState::Phase;
  using Clock = std::chrono::steady_clock;

  Phase phase = Phase::opening;
  EndpointTries tries;
  Clock::time_point since = Clock::now();

  /// Changes to a phase, unless it has begun already.
  void enter(Phase next) {
    if (phase != next) {
      phase = next;
      since = Clock::now();
    }
  }

  /// Returns whether the endpoint was up and has not been given up since.
  bool wasUp() const noexcept { return phase == Phase::up || phase == Phase::lost; }
};

/// The peers that a bound socket has not let in.
struct Refusals {
  std::uint32_t count = 0;
  std::string reason;  ///< why the last of them was not
};

/// The announcement of a bound socket.
struct Announced {
  AnnouncedEndpoint endpoint;
  cppmicroservices::ServiceReference<Discovery> discovery;  ///< the service that announces it
  std::unique_ptr<Announcement> announcement;
};

/// A socket that a transport opened for this bundle. Held until the transport has reported its end.
struct Socket {
  SocketID id = 0;

  /// Null if an announced address turned out to be of no use: it is not tried again as long as its announcement lasts.
  std::shared_ptr<agent::spf::frameworkinterfaces::Transport> transport;

  agent::spf::frameworkinterfaces::Transport::EndpointID endpoint = 0;
  DiscoveredAddress address;
  Progress progress;
  Refusals refusals;
  bool isReplacement = false;  ///< replaces one that the same transport closed unasked

  std::string reachable;               ///< where peers reach it; empty unless it is bound, and of a kind to announce
  std::optional<Announced> announced;  ///< withdrawn before the socket is closed
  std::string announceFailure;         ///< the last reason why it is not announced, which is logged once
};

/// What a discovery name stands for now.
struct Resolution {
  std::vector<DiscoveredAddress> addresses;
  std::string reason;       ///< why there is no address; empty if there is one
  bool isAnswered = false;  ///< whether a discovery is registered
};

/// The publishers' access to the framework's services. Every service is looked up for each use, because it may be
/// registered late and unregistered early. Used on the executor's thread only.
class Environment {
 public:
  /// Handles a transport's report about a socket of a publisher; called on the executor's thread.
  using SocketHandler = std::function<void(const std::string& publisherPID, SocketID, const SocketReport&)>;

  /// Reads the framework's properties.
  /// \throws std::runtime_error if those about keys are of no use, naming the property and what was expected
  Environment(cppmicroservices::BundleContext context,
              std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor,
              std::shared_ptr<EndpointStates> states, SocketHandler handler);

  const cppmicroservices::BundleContext& context() const noexcept { return context_; }

  /// Returns the records that publishers keep up to date.
  EndpointStates& states() const noexcept { return *states_; }

  /// Returns the name of the key that this process proves to peers; empty if it has none.
  const std::string& keyName() const noexcept { return keyName_; }

  /// Returns which peers may ask which publishers; never null.
  const std::shared_ptr<const AllowedAskers>& allowedAskers() const noexcept { return allowedAskers_; }

  /// Requests a socket from the transport.
  /// \param answer  answers requests of peers; with null they are refused
  /// \return a socket without a transport if none is registered
  Socket open(const std::string& publisherPID, Direction direction, const std::string& publisherID,
              const std::string& name, const DiscoveredAddress& address, std::shared_ptr<const PeerAnswer> answer);

  /// Returns whether the next socket would be opened by this transport. One that is being stopped is not in use.
  bool isInUse(const agent::spf::frameworkinterfaces::Transport& transport) const;

  /// Chooses the discovery that `resolve` and `announce` use until `releaseDiscovery`, so that all of a task's answers
  /// are from one.
  /// \return whether it is another one than at the last `noteAnnounced`
  bool useDiscovery();

  /// Notes that the discovery in use announces everything.
  void noteAnnounced() { announcedAt_ = inUse_; }

  void releaseDiscovery() { discovery_.reset(); }

  /// Returns what a discovery name stands for.
  Resolution resolve(const std::string& name);

  /// Returns the address at which peers reach a bound socket; empty if its scheme is none to announce.
  /// \param bound  the address that the socket has got
  std::string reachable(const std::string& bound) const;

  /// Lets the discovery in use announce an endpoint, unless it does so already. Without a discovery, nothing stays
  /// announced; if the discovery refuses, what was announced by another one stays.
  /// \return why the discovery refuses; empty if it does not
  std::string announce(const AnnouncedEndpoint& endpoint, std::optional<Announced>& announced);

  /// Returns the event sink for the reports of one change; null if none is registered.
  std::shared_ptr<agent::spf::frameworkinterfaces::EventSink> eventSink() const;

 private:
  /// Returns the discovery in use; null if none is registered.
  Discovery* discovery();

  const cppmicroservices::BundleContext context_;
  const std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;
  const std::shared_ptr<EndpointStates> states_;
  const SocketHandler handler_;
  const std::string advertisedHost_;
  const std::string keyName_;
  const std::shared_ptr<const AllowedAskers> allowedAskers_;
  cppmicroservices::ServiceReference<Discovery> inUse_;
  cppmicroservices::ServiceReference<Discovery> announcedAt_;
  std::shared_ptr<Discovery> discovery_;  ///< the one in use, from the first time that a task needs it
  SocketID lastSocket_ = 0;
};

}  // namespace spf::publishers
