#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include "PeerAnswer.hpp"
#include "agent/spf/frameworkinterfaces/EventSink.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::publishers {

enum class Direction { bind, connect };

/// Identifies a socket that this bundle requested from a transport.
using SocketID = std::uint64_t;

enum class SocketEvent { opened, lost, warned, failed, closed };

/// A socket that a transport opened for this bundle. Held until the transport has reported its end.
struct Socket {
  SocketID id;
  std::shared_ptr<agent::spf::frameworkinterfaces::Transport> transport;
  agent::spf::frameworkinterfaces::Transport::EndpointID endpoint;
  std::string address;
  bool open = false;
  bool isReplacement = false;  ///< replaces one that the same transport closed unasked
};

/// The publishers' access to the framework's services. Every service is looked up for each use, because it may be
/// registered late and unregistered early. Used on the executor's thread only.
class Environment {
 public:
  /// Handles a transport's report about a socket of a publisher; called on the executor's thread. The exception holds
  /// the text of a warning or a failure.
  using SocketHandler = std::function<void(const std::string& publisherPID, SocketID, SocketEvent, std::exception_ptr)>;

  Environment(cppmicroservices::BundleContext context,
              std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor, SocketHandler handler);

  const cppmicroservices::BundleContext& context() const noexcept { return context_; }

  /// Requests a socket from the transport.
  /// \param answer  answers requests of peers; with null they are refused
  /// \return a socket without a transport if none is registered
  Socket open(const std::string& publisherPID, Direction direction,
              const agent::spf::frameworkinterfaces::EndpointDescription& endpoint,
              std::shared_ptr<const PeerAnswer> answer);

  /// Returns whether the next socket would be opened by this transport. One that is being stopped is not in use.
  bool isInUse(const agent::spf::frameworkinterfaces::Transport& transport) const;

  /// Returns the addresses of a discovery name; none if it is unknown or no discovery is registered.
  std::vector<std::string> resolve(const std::string& name) const;

  /// Makes a report to the event sink, if one is registered.
  void report(const std::function<void(agent::spf::frameworkinterfaces::EventSink&)>& call) const;

 private:
  const cppmicroservices::BundleContext context_;
  const std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;
  const SocketHandler handler_;
  SocketID lastSocket_ = 0;
};

}  // namespace spf::publishers
