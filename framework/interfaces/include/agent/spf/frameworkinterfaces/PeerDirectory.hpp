#pragma once

#include <chrono>
#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworkinterfaces {

/// A service that queries connected peers for their published services.
///
/// Any thread may call it, several at once, except from inside a FrameworkListener or an EndpointListener: it
/// blocks.
class [[gnu::visibility("default")]] PeerDirectory {
 public:
  virtual ~PeerDirectory() = default;

  /// Queries a peer over a connection of one of this process's publishers. Blocks until the answer arrives.
  /// \param servicePublisherID  the publisher of this process that holds the connection
  /// \param endpoint            one of its `endpointsToConnectTo`, as configured
  /// \param timeout             how long to wait for the answer
  /// \return a map with the peer's `publisherID` (text) and `services`: a list of maps with `uniqueID` and
  ///         `name` (texts)
  /// \throws std::runtime_error naming publisher, endpoint and reason: no connection, no answer in time, a malformed
  ///         answer, the peer's refusal, or a missing transport or serialiser
  virtual cppmicroservices::AnyMap ask(const std::string& servicePublisherID, const std::string& endpoint,
                                       std::chrono::milliseconds timeout) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
