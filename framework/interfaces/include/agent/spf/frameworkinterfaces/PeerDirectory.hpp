#pragma once

#include <chrono>
#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworkinterfaces {

/// A service that asks connected peers what they publish.
///
/// Any thread may call it, several at once. Not to be called from a FrameworkListener's or an
/// EndpointListener's thread: it blocks.
class [[gnu::visibility("default")]] PeerDirectory {
 public:
  virtual ~PeerDirectory() = default;

  /// Asks over a connection that one of this process's publishers has opened.
  /// \param servicePublisherID  the publisher of this process that is connected
  /// \param endpoint            one of its `endpointsToConnectTo`, as configured
  /// \param timeout             how long to wait for the answer
  /// \return `publisherID` (text) of the peer, and `services`: a list of maps with `uniqueID` and
  ///         `name` (texts)
  /// \throws std::runtime_error naming publisher, endpoint and reason: not connected, no answer in
  ///         time, an answer that cannot be read or lacks any of this, the peer's refusal, or a missing transport or
  ///         serialiser
  virtual cppmicroservices::AnyMap ask(const std::string& servicePublisherID, const std::string& endpoint,
                                       std::chrono::milliseconds timeout) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
