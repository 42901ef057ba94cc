#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <zmq.hpp>
#include "Address.hpp"
#include "Monitor.hpp"
#include "Resolver.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace spf::zeromq {

using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using EndpointID = agent::spf::frameworkinterfaces::Transport::EndpointID;

/// What the endpoints of one socket loop share.
struct Surroundings {
  zmq::context_t& context;

  /// The `inproc` names that are bound now, and the endpoints that have them.
  std::map<std::string, EndpointID> boundNames;

  /// Makes the names of monitors unique.
  std::uint64_t lastMonitor = 0;
};

/// One endpoint: a socket, its monitor, and the listener that its progress is reported to.
///
/// Lives on the socket loop's thread, which alone uses it. Its phases:
///
///     fresh ──► lookingUp ──► waiting ──► opening ──► open ──► closing ──► done
///       └──────────────────────►▲ ▲          │ ▲        │
///                               │ └──────────┘ └────────┤ tcp, ipc: the peer is gone
///                               └───────────────────────┘ inproc: the peer is gone
///
/// From `opening` back to `waiting` leads the try of another address of the host. From every phase
/// the endpoint can go to `done`: when it fails, or when it is closed and has no address to free.
/// In `done` the end was reported to the listener, and the socket is closed.
class Endpoint {
 public:
  using Clock = std::chrono::steady_clock;

  enum class Phase {
    fresh,      ///< nothing was done for it yet
    lookingUp,  ///< its host has no numeric address yet
    waiting,    ///< bind: another endpoint of ours has the address; connect: nobody has the `inproc` name
    opening,    ///< has a socket that does not listen yet, or whose peer is not there
    open,       ///< listens, or is connected
    closing,    ///< ZeroMQ has yet to give the address free
    done
  };

  Endpoint(EndpointID id, EndpointDescription description, std::shared_ptr<EndpointListener> listener);
  virtual ~Endpoint() = default;

  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  /// Leaves the phase `fresh`; a bad address fails.
  void start();

  /// The host to look up now, if there is one.
  std::optional<std::string> hostToLookUp(Clock::time_point now) const;

  /// Takes note that the host is being looked up: it is asked for once per look-up.
  void onLookUpStarted() noexcept;

  /// Takes the outcome of a look-up.
  void onLookUp(const ResolvedHost& resolved);

  /// Makes the socket; when that fails for good the endpoint is done. Only in the phase `waiting`.
  void open(Surroundings& surroundings);

  /// Starts to close the socket. The endpoint is done at once or some time later.
  void close();

  /// Does not wait any longer for the report that the socket is closed.
  void forceClose();

  /// Reads what the monitor reports, up to a limit.
  void onMonitor();

  /// Reads what peers sent, up to a limit.
  virtual void onMessages() = 0;

  /// Does what is due at the deadline.
  void onTime(Clock::time_point now);

  /// Gives up with a reason: the listener is told `failed` in the phases before `open`, later `closed`.
  void abandon(std::exception_ptr reason);

  EndpointID id() const noexcept { return id_; }
  const EndpointDescription& description() const noexcept { return description_; }
  Phase phase() const noexcept { return phase_; }
  bool isOpen() const noexcept { return phase_ == Phase::open; }
  bool isDone() const noexcept { return phase_ == Phase::done; }
  bool isClosing() const noexcept { return phase_ == Phase::closing; }

  /// When `onTime` or `hostToLookUp` has something to do.
  std::optional<Clock::time_point> deadline() const noexcept { return deadline_; }

  /// What to poll; null when there is none.
  void* socketHandle() noexcept { return socket_ ? socket_->handle() : nullptr; }
  void* monitorHandle() noexcept { return monitor_ ? monitor_->handle() : nullptr; }

 protected:
  virtual zmq::socket_type socketType() const = 0;
  virtual int monitoredEvents() const = 0;
  virtual std::size_t largestMessage() const = 0;

  /// Whether the host has to be looked up.
  /// \throws std::runtime_error for an address that makes no sense for the endpoint
  virtual bool checkAddress() = 0;

  /// Binds or connects the socket.
  virtual void attach(Surroundings& surroundings) = 0;

  /// Takes the socket off its address.
  /// \return whether the monitor is going to report the end
  virtual bool detach() = 0;

  virtual void onEvent(std::uint16_t event) = 0;
  virtual void onResolved(const ResolvedHost& resolved) = 0;
  virtual void onUnresolved(const std::string& failure) = 0;

  /// What is due in the phases before `closing`.
  virtual void onDeadline() {}

  /// What to do before the socket goes.
  virtual void beforeDrop() {}

  void becomeOpen();
  void becomeClosed();

  /// Goes to `waiting`, without a socket.
  void startOver();

  /// Tells the listener of an open connection that it is gone.
  void lose(Phase next);

  /// Asks for a look-up of the host, in the phase `lookingUp` or any later one.
  void requestLookUp(Clock::time_point when);
  void setDeadline(std::optional<Clock::time_point> deadline) { deadline_ = deadline; }

  void warn(const std::string& what);

  zmq::socket_t& socket() { return *socket_; }
  EndpointListener& listener() { return *listener_; }
  const Address& address() const noexcept { return address_; }

  /// Puts a numeric host in the place of the name.
  void setHost(const std::string& host);
  bool hasHostName() const noexcept { return hostName_ != address_.where; }

  /// Gives up: the listener is told the reason and the address.
  void fail(const std::string& reason);

 private:
  void makeSocket(Surroundings& surroundings);
  void dropSocket();
  std::string describe(const std::string& reason) const;

  const EndpointID id_;
  const EndpointDescription description_;
  const std::shared_ptr<EndpointListener> listener_;
  Address address_;
  Phase phase_ = Phase::fresh;
  std::optional<Clock::time_point> deadline_;
  bool lookUpRequested_ = false;
  std::string hostName_;
  std::chrono::seconds closingWarning_{0};

  // The monitor goes before the socket that it observes.
  std::optional<zmq::socket_t> socket_;
  std::optional<Monitor> monitor_;
};

}  // namespace spf::zeromq
