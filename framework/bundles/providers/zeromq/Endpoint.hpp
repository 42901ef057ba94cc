#pragma once

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <zmq.hpp>

#include "Address.hpp"
#include "Monitor.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace spf::zeromq {

using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointListener;
using EndpointID = agent::spf::frameworkinterfaces::Transport::EndpointID;

/// One endpoint: a socket, its monitor, and the listener that hears what becomes of it.
///
/// Lives on the socket loop's thread, which is the only one to touch it. An endpoint that is done
/// has told its listener so and holds no socket any more.
class Endpoint {
 public:
  using Clock = std::chrono::steady_clock;

  Endpoint(EndpointID id, EndpointDescription description, std::shared_ptr<EndpointListener> listener);
  virtual ~Endpoint() = default;

  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  /// Makes the socket; when that fails for good the endpoint is done.
  void open(zmq::context_t& context);

  /// Starts to close the socket. The endpoint is done at once or some time later.
  void close();

  /// Reads what the monitor reports.
  void onMonitor();

  /// Reads what peers sent.
  virtual void onMessages() = 0;

  /// Gives up waiting for the socket's own report of its end when that took too long.
  void onTime(Clock::time_point now);

  /// Gives up with a reason: the listener hears it unless it had good news before.
  void abandon(std::exception_ptr reason);

  EndpointID id() const noexcept { return id_; }
  const EndpointDescription& description() const noexcept { return description_; }
  bool isWaiting() const noexcept { return state_ == State::waiting; }
  bool isOpen() const noexcept { return state_ == State::open; }
  bool isDone() const noexcept { return state_ == State::done; }
  std::optional<Clock::time_point> deadline() const noexcept { return deadline_; }

  /// Whether the endpoint has the address, and whether it is just giving it back.
  bool holds(const std::string& address) const;
  bool isClosing() const noexcept { return state_ == State::closing; }

  /// Whether an endpoint that waits for its address may go on waiting: another one that holds it may
  /// be about to give it back. From the first question on the patience has a limit.
  bool hasPatience(Clock::time_point now);

  /// What to poll; null when there is none.
  void* socketHandle() noexcept { return socket_ ? socket_->handle() : nullptr; }
  void* monitorHandle() noexcept { return monitor_ ? monitor_->handle() : nullptr; }

 protected:
  enum class State { waiting, opening, open, closing, done };

  virtual zmq::socket_type socketType() const = 0;
  virtual int monitoredEvents() const = 0;

  /// Binds or connects the socket.
  virtual void attach() = 0;

  /// Takes the socket off its address.
  /// \return whether the monitor is going to report the end
  virtual bool detach() = 0;

  virtual void onEvent(std::uint16_t event) = 0;

  void becomeOpen();
  void becomeClosed();

  zmq::socket_t& socket() { return *socket_; }
  EndpointListener& listener() { return *listener_; }
  Scheme scheme() const noexcept { return scheme_; }

 private:
  void makeSocket(zmq::context_t& context);
  void dropSocket();
  std::exception_ptr describe(const char* reason) const;

  const EndpointID id_;
  const EndpointDescription description_;
  const std::shared_ptr<EndpointListener> listener_;
  Scheme scheme_ = Scheme::tcp;
  State state_ = State::waiting;
  std::optional<Clock::time_point> deadline_;

  // The monitor goes before the socket that it observes.
  std::optional<zmq::socket_t> socket_;
  std::optional<Monitor> monitor_;
};

}  // namespace spf::zeromq
