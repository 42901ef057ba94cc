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

/// Names a socket that this bundle asked a transport for.
using SocketID = std::uint64_t;

enum class SocketEvent { opened, lost, warned, failed, closed };

/// A socket that a transport opened for us. Held until the transport has told that it is gone.
struct Socket {
  SocketID id;
  std::shared_ptr<agent::spf::frameworkinterfaces::Transport> transport;
  agent::spf::frameworkinterfaces::Transport::EndpointID endpoint;
  std::string address;
  bool open = false;
  bool isReplacement = false;  ///< stands for one that the same transport closed unasked
};

/// What publishers need of the framework. Every service is looked up for each use, because services
/// come late and go early. Used from the executor's thread.
class Environment {
 public:
  /// What a transport reports about a socket of a publisher; called on the executor's thread. Warnings
  /// and failures come with an exception that says what it is about.
  using SocketHandler = std::function<void(const std::string& publisherPID, SocketID, SocketEvent, std::exception_ptr)>;

  Environment(cppmicroservices::BundleContext context,
              std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor, SocketHandler handler);

  const cppmicroservices::BundleContext& context() const noexcept { return context_; }

  /// Asks the transport for a socket.
  /// \param answer  what to tell peers that ask; null: they are refused
  /// \return one without a transport when there is none now
  Socket open(const std::string& publisherPID, Direction direction,
              const agent::spf::frameworkinterfaces::EndpointDescription& endpoint,
              std::shared_ptr<const PeerAnswer> answer);

  /// Whether the next socket would be this transport's; one that is being stopped is out of use.
  bool isInUse(const agent::spf::frameworkinterfaces::Transport& transport) const;

  /// The addresses behind a discovery name; none when it is unknown or there is no discovery.
  std::vector<std::string> resolve(const std::string& name) const;

  /// Has a report made, if there is somebody to take it.
  void report(const std::function<void(agent::spf::frameworkinterfaces::EventSink&)>& call) const;

 private:
  const cppmicroservices::BundleContext context_;
  const std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;
  const SocketHandler handler_;
  SocketID lastSocket_ = 0;
};

}  // namespace spf::publishers
