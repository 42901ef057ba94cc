#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <zmq.hpp>
#include "Monitor.hpp"
#include "Resolver.hpp"
#include "RetryInterval.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworksupport/Address.hpp"
#include "agent/spf/security/SecretKey.hpp"
#include "agent/spf/security/TrustedKeys.hpp"

namespace spf::zeromq {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::hasUnresolvedHost;
using agent::spf::frameworksupport::InterfaceNames;
using agent::spf::frameworksupport::isWildcard;
using agent::spf::frameworksupport::mayCollide;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::Place;
using agent::spf::frameworksupport::placeOf;
using agent::spf::frameworksupport::printable;
using agent::spf::frameworksupport::Scheme;
using agent::spf::frameworksupport::toZeroMq;

using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::EndpointTries;
using EndpointID = agent::spf::frameworkinterfaces::Transport::EndpointID;

/// The state that the endpoints of one socket loop share.
struct SharedState {
  zmq::context_t& context;

  /// The `inproc` names that are bound, with their endpoints.
  std::map<std::string, EndpointID> boundNames;

  /// The number in the name of the latest monitor, which makes the names unique.
  std::uint64_t lastMonitor = 0;

  /// This process's key; null: no connection is encrypted.
  const agent::spf::security::SecretKey* key = nullptr;

  /// Whose keys are trusted; not null if there is a key.
  std::shared_ptr<const agent::spf::security::TrustedKeys> trusted{};

  /// Whether a socket was created, so that ZeroMQ's threads run.
  bool hasSockets = false;

  /// Whether a warning was given that other machines reach an endpoint without encryption.
  bool warnedOfPlainText = false;
};

/// One endpoint: a socket, its monitor, and the listener that receives its reports.
///
/// Used on the socket loop's thread only. Its phases:
///
///     fresh ──► lookingUp ──► waiting ──► opening ──► open ──► closing ──► done
///       └──────────────────────►▲ ▲          │ ▲        │
///                               │ └──────────┘ └────────┤ tcp, ipc: the peer is lost
///                               ├───────────────────────┤ inproc: the peer is lost; a key is no longer trusted
///                               └───── reopening ◄──────┘ bind: a key is no longer trusted
///
/// An endpoint returns from `opening` to `waiting` to try another address of the host, or to `lookingUp` or `waiting`
/// after a failed handshake, and after a failed try that is not the first: if descriptors or memory were missing, or if
/// an address could not be bound again. From every phase it can change to `done`: if it fails, or if it is closed and
/// has no address to free. In `done` the socket is closed and the end was reported to the listener.
///
/// If this process has a key, every connection by `tcp` is encrypted, and only peers whose keys are trusted are let in;
/// otherwise none is.
class Endpoint {
 public:
  using Clock = std::chrono::steady_clock;

  enum class Phase {
    fresh,      ///< not started yet
    lookingUp,  ///< the host has no numeric address yet
    waiting,    ///< bind: another endpoint holds the address; connect: the `inproc` name is not bound, no key of the
                ///< peer is trusted, or a handshake has failed not long ago; both: a later try has failed not long ago
    opening,    ///< has a socket that does not listen yet, or has no peer yet
    open,       ///< listens, or is connected
    reopening,  ///< bind: waits until ZeroMQ has released the address, and binds it again
    closing,    ///< waits until ZeroMQ has released the address
    done
  };

  Endpoint(EndpointID id, EndpointDescription description, std::shared_ptr<EndpointListener> listener);
  virtual ~Endpoint() = default;

  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  /// Checks the address and leaves the phase `fresh`; fails if the address is malformed, or its key cannot be proved.
  void start(const SharedState& shared);

  /// Returns whether the host has to be looked up now.
  bool isLookUpDue(Clock::time_point now) const noexcept {
    return lookUpRequested_ && (!deadline_ || *deadline_ <= now);
  }

  const std::string& hostToLookUp() const noexcept { return hostName_; }

  /// Records that the requested look-up was started.
  void onLookUpStarted() noexcept;

  /// Handles the outcome of a look-up.
  void onLookUp(const ResolvedHost& resolved);

  /// Returns whether the next try is due.
  bool isDue(Clock::time_point now) const noexcept { return !nextTry_ || *nextTry_ <= now; }

  /// Creates the socket; if that fails, the endpoint is done, or tries again later. Allowed in the phase `waiting`
  /// only.
  void open(SharedState& shared);

  /// Starts closing the socket. The endpoint is done at once or some time later.
  void close();

  /// Ends the wait for the report that the socket is closed.
  void forceClose();

  /// Handles the events of the monitor, up to a limit.
  void onMonitor();

  /// Handles the messages of peers, up to a limit.
  virtual void onMessages() = 0;

  /// Ends connections with keys that are no longer trusted. Called after each change of the trusted keys.
  virtual void onTrust(const SharedState& shared) = 0;

  /// Performs the action that is due at the deadline.
  virtual void onTime(Clock::time_point now);

  /// What a probe waits for.
  struct ProbeEvent {
    int descriptor = -1;   ///< negative if there is no probe
    bool isInput = false;  ///< whether it has to become readable, not writable
  };

  /// Returns the event to poll for.
  virtual ProbeEvent probeEvent() const noexcept { return {}; }

  /// Handles the outcome of a probe if it is there, or late.
  virtual void onProbe(bool isReady, Clock::time_point now) {
    static_cast<void>(isReady);
    static_cast<void>(now);
  }

  /// Abandons the endpoint: reports `failed` with the reason in the phases before `open`, `closed` in later ones.
  void abandon(std::exception_ptr reason);

  EndpointID id() const noexcept { return id_; }
  const EndpointDescription& description() const noexcept { return description_; }
  Phase phase() const noexcept { return phase_; }
  bool isOpen() const noexcept { return phase_ == Phase::open; }
  bool isDone() const noexcept { return phase_ == Phase::done; }
  bool isClosing() const noexcept { return phase_ == Phase::closing; }

  /// Returns when `onTime`, `onProbe` or `isLookUpDue` has to be called next.
  virtual std::optional<Clock::time_point> deadline() const noexcept { return deadline_; }

  /// Returns the socket or the monitor to poll; null if there is none.
  void* socketHandle() noexcept { return socket_ ? socket_->handle() : nullptr; }
  void* monitorHandle() noexcept { return monitor_ ? monitor_->handle() : nullptr; }

 protected:
  virtual zmq::socket_type socketType() const = 0;
  virtual int monitoredEvents() const = 0;
  virtual std::size_t largestMessage() const = 0;

  /// Returns whether the host has to be looked up.
  /// \throws std::runtime_error if the address is not allowed for this kind of endpoint
  virtual bool checkAddress() = 0;

  /// Checks the name of the peer's key.
  /// \throws std::runtime_error if one is missing, or cannot be proved
  virtual void checkKey(const SharedState& shared) const = 0;

  /// Sets the socket's keys. Called if the endpoint is encrypted, before the socket is attached.
  virtual void encrypt(const SharedState& shared) = 0;

  /// Binds or connects the socket.
  virtual void attach(SharedState& shared) = 0;

  /// Detaches the socket from its address.
  /// \return whether the monitor will report the end
  virtual bool detach() = 0;

  /// Returns whether to try again after a try that has failed. Called if an earlier one did not fail.
  /// \param isShortage  whether it has failed for want of descriptors or memory
  virtual bool mayTryAgain(bool isShortage) const = 0;

  /// Destroys the socket and tries again after an interval, which grows each time.
  virtual void tryAgain() = 0;

  virtual void onEvent(const MonitorEvent& event) = 0;
  virtual void onResolved(const ResolvedHost& resolved) = 0;

  /// Performs the action that is due in the phases before `closing`.
  virtual void onDeadline() {}

  /// Releases what depends on the socket, before it is destroyed.
  virtual void beforeDrop() {}

  /// Reports the endpoint as open.
  /// \param opened  the address that the socket has got
  void becomeOpen(const std::string& opened);
  void becomeClosed();

  /// Destroys the socket and returns to `waiting`.
  void startOver();

  /// Destroys the socket and returns to `waiting`.
  /// \param when  the next try is due
  void startOverAt(Clock::time_point when);

  /// Destroys the socket and returns to `lookingUp`.
  /// \param when  the look-up begins
  void startOverWithLookUp(Clock::time_point when);

  /// Reports the loss of an open connection to the listener, and changes to another phase.
  void reportLoss(Phase next, const std::string& reason);

  /// Counts a try that begins, and reports it.
  void beginTry();

  /// Reports why the endpoint is not open, unless that was reported already.
  void reportReason(const std::string& reason);

  /// Requests a look-up of the host. Allowed in the phase `lookingUp` and later.
  void requestLookUp(Clock::time_point when);

  /// Requests a look-up of the host after an interval, which grows each time.
  void lookUpAgain();

  /// Begins with the shortest interval again.
  void resetLookUps();

  /// Returns when to try again after one more failure.
  Clock::time_point nextRetry() { return Clock::now() + retryInterval_.next(); }

  /// Warns the listener at intervals until the phase changes. Called in the phases that wait for a free address.
  void warnUntilReleased();

  void setDeadline(std::optional<Clock::time_point> deadline) { deadline_ = deadline; }

  void warn(const std::string& what);
  void reportRefusals(std::uint32_t count, const std::string& reason);

  /// Returns whether the connections of the socket are encrypted.
  bool isEncrypted() const noexcept { return isEncrypted_; }

  zmq::socket_t& socket() { return *socket_; }
  EndpointListener& listener() { return *listener_; }
  const Address& address() const noexcept { return address_; }

  /// Returns the address to show: the host is a number once it is known.
  std::string shownAddress() const;

  /// Replaces the name of the host by a number.
  void setHost(const std::string& host);
  bool hasHostName() const noexcept { return hostName_ != address_.where; }

  /// Abandons the endpoint with an error that names the address and the reason.
  void fail(const std::string& reason);

 private:
  void makeSocket(SharedState& shared);
  void dropSocket();

  /// Reports the reason and tries again later, or fails.
  void onFailedTry(bool isShortage, const std::string& reason);
  std::string describe(const std::string& reason) const;
  void reportTries();

  const EndpointID id_;
  const EndpointDescription description_;
  const std::shared_ptr<EndpointListener> listener_;
  Address address_;
  Phase phase_ = Phase::fresh;
  std::optional<Clock::time_point> deadline_;
  EndpointTries tries_;
  RetryInterval retryInterval_;
  std::optional<Clock::time_point> nextTry_;
  bool hasTried_ = false;  ///< whether a try did not fail at once
  bool lookUpRequested_ = false;
  bool isEncrypted_ = false;
  std::string hostName_;
  std::chrono::milliseconds lookUpInterval_{0};
  std::string lastWarning_;
  std::chrono::seconds closingWarning_{0};

  // The monitor is destroyed before the socket that it observes.
  std::optional<zmq::socket_t> socket_;
  std::optional<Monitor> monitor_;
};

}  // namespace spf::zeromq
