#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace agent::spf::frameworkinterfaces {

/// What becomes of one endpoint, as told by the transport that opened it.
///
/// The transport calls from a thread of its own, one call at a time for all endpoints, with no lock
/// held. Implementations hand off at once; a slow one stalls every endpoint. What they throw is
/// swallowed, except by `answer`. The transport keeps the listener until its last call.
class [[gnu::visibility("default")]] EndpointListener {
 public:
  virtual ~EndpointListener() = default;

  /// The endpoint listens, or a handshake with its peer succeeded. Called once, and for a connection
  /// again after each `lost`.
  virtual void opened() = 0;

  /// The connection to the peer is gone. The transport tries again by itself.
  virtual void lost() {}

  /// Something takes longer than it should; the transport goes on trying.
  /// \param what  what is waited for, for a log
  virtual void warned(const std::string& what) {
    static_cast<void>(what);
  }

  /// The endpoint can never be opened; there is nothing to close. The last call.
  /// \param reason  a `std::runtime_error` that names the address
  virtual void failed(std::exception_ptr reason) = 0;

  /// The endpoint's socket is closed; the address is free again, however long that takes, unless the
  /// whole transport stops. The last call.
  virtual void closed() = 0;

  /// Answers a peer's request. Only for endpoints that were bound.
  /// \throws anything; the peer is sent the text of a `std::exception`
  virtual std::string answer(const std::string& request) = 0;
};

/// Names one endpoint.
struct EndpointDescription {
  std::string owner;    ///< the service publisher that wants it
  std::string name;     ///< as the configuration gave it: an address or a discovery name
  std::string address;  ///< where to bind or connect: `tcp://`, `ipc://` or `inproc://` and the rest
};

/// A service that opens endpoints to other processes.
///
/// Any thread may call it, several at once; only `ask` blocks. When the service goes, every endpoint
/// is closed and its listener told so; calls that come later are refused with a
/// `std::runtime_error`, but for `close`, which then does nothing.
class [[gnu::visibility("default")]] Transport {
 public:
  using EndpointID = std::uint64_t;

  virtual ~Transport() = default;

  /// Starts to listen. The outcome is reported to the listener, never thrown.
  /// \return what names the endpoint from now on; never used twice
  virtual EndpointID bind(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) = 0;

  /// Starts to connect, and goes on trying for as long as the peer is not there, or its host is unknown.
  /// The outcome is reported to the listener, never thrown.
  virtual EndpointID connect(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) = 0;

  /// Closes an endpoint; its listener hears `closed` once the socket is gone. An endpoint that failed,
  /// is being closed, or is unknown is left alone.
  virtual void close(EndpointID endpoint) = 0;

  /// Sends a request over an endpoint that was connected and waits for the peer's answer.
  ///
  /// Not to be called from an EndpointListener: it would wait for itself.
  /// \param owner, name  of the connected endpoint's description
  /// \param timeout      how long to wait; zero and less look once
  /// \throws std::runtime_error naming owner and endpoint when there is no such connection, when the
  ///         answer does not come in time, when the endpoint is closed meanwhile, or with the
  ///         peer's text when the peer refuses
  virtual std::string ask(const std::string& owner, const std::string& name, const std::string& request,
                          std::chrono::milliseconds timeout) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
