#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace agent::spf::frameworkinterfaces {

/// The state of one endpoint of a publisher. A discovery name with several addresses has one record for each of them,
/// in their order; to be connected, one of them is enough.
struct EndpointState {
  /// Whether the endpoint is bound or connected.
  enum class Direction { bind, connect };

  /// How far the endpoint has come.
  enum class Phase {
    unresolved,  ///< the discovery name or the host has no address so far; it is looked up again
    opening,     ///< no try has succeeded so far; it is tried again
    up,          ///< bound, or connected to a peer
    lost,        ///< was up, and is tried again; with no address, its discovery name has none now
    refused      ///< an ErrorEvent has reported the reason; nothing is tried before the next revision
  };

  std::string servicePublisherID;               ///< the publisher's uniqueID
  std::uint32_t modificationCount;              ///< the publisher's current revision
  Direction direction;                          ///< whether it is bound or connected
  std::string endpoint;                         ///< the configured value as text
  Phase phase;                                  ///< how far it has come
  std::string address;                          ///< the one that the socket has got, or that is tried; may be empty
  std::uint32_t tries;                          ///< how many were begun, since the loss if the connection was lost
  std::string reason;                           ///< why it is not up, in the system's words; empty if unknown or up
  std::chrono::steady_clock::time_point since;  ///< when the phase began

  /// bind: how many handshakes of peers were refused since the transport first opened the endpoint. A peer that tries
  /// again counts again, and opening the socket anew does not begin at zero. A connecting transport may greet a peer
  /// whose handshake has just failed, to learn how it speaks, and that may count as one more.
  std::uint32_t refusedHandshakes = 0;
  std::string lastRefusal{};  ///< bind: why the last of them was, in the system's words
};

/// A service that reports the state of each endpoint of each current publisher.
///
/// Any thread may call it, several at once, also with locks held; only `removeListener` blocks. The records of a
/// publisher change together when its revision changes, and disappear when its withdrawal begins. What an event of the
/// framework reports is in the records before the event is delivered. A service whose bundle was stopped has no records
/// and calls no listener.
class [[gnu::visibility("default")]] EndpointStatus {
 public:
  /// Identifies a listener until it is removed.
  using ListenerID = std::uint64_t;

  virtual ~EndpointStatus() = default;

  /// Returns all records: those of a publisher in the order of its configuration, first those to bind.
  virtual std::vector<EndpointState> list() const = 0;

  /// Adds a listener, which is called after changes of the records; one call may stand for several changes.
  ///
  /// A thread of the service calls it, one listener at a time and with no lock held. The listener may call this service
  /// and stop its bundle; a slow one delays the others only. Its exceptions are swallowed.
  /// \return the listener's ID, which is never reused
  /// \throws std::system_error if the system has no thread left
  virtual ListenerID addListener(std::function<void()> listener) = 0;

  /// Removes a listener. Blocks until a call of it that is under way has returned, unless that call removes it; it is
  /// not called again. Does nothing for an unknown ID.
  virtual void removeListener(ListenerID listener) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
