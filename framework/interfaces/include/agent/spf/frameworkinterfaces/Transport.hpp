#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace agent::spf::frameworkinterfaces {

/// A transport's tries to open an endpoint.
struct EndpointTries {
  std::string address;      ///< the one that is tried, with a numeric host; empty if the host has none so far
  std::uint32_t count = 0;  ///< how many were begun, since the loss if the connection was lost
  std::string reason;       ///< why the last one failed, in the system's words; empty if unknown
};

/// Receives the state changes of one endpoint from the transport that opened it.
///
/// The transport calls it on its own thread, one call at a time for all endpoints, with no lock held. Implementations
/// return at once and do their work on another thread; a slow one stalls every endpoint. Exceptions are swallowed,
/// except those of `answer`. The transport holds the listener until its last call.
class [[gnu::visibility("default")]] EndpointListener {
 public:
  virtual ~EndpointListener() = default;

  /// Reports the tries to open the endpoint, whenever they change: before `opened`, and after `lost`.
  virtual void trying(const EndpointTries& tries) {
    static_cast<void>(tries);
  }

  /// Reports that the endpoint listens, or that a handshake with its peer succeeded: once, and again after each `lost`.
  /// \param address  the one that the socket has got, with a numeric host and without wildcards
  virtual void opened(const std::string& address) = 0;

  /// Reports that the connection to the peer is lost, or that a bound endpoint is closed for a moment, to end
  /// connections whose keys are no longer trusted. The transport reconnects by itself, or binds the same address again.
  /// \param reason  empty if unknown
  virtual void lost(const std::string& reason) {
    static_cast<void>(reason);
  }

  /// Reports that an operation takes unusually long; the transport keeps trying.
  /// \param what  a message for the log
  virtual void warned(const std::string& what) {
    static_cast<void>(what);
  }

  /// Reports that handshakes of peers were refused, which are not let in. For bound endpoints only, and rarely: one
  /// call may stand for several handshakes.
  ///
  /// \param count   how many were refused since the transport first opened the endpoint, also if its socket was opened
  ///                anew meanwhile. A peer that tries again counts again. A connecting transport may greet a peer
  ///                whose handshake has just failed, to learn how it speaks, and that may count as one more.
  /// \param reason  why the last one was: "key unknown", "no encryption" or "handshake failed"
  virtual void refused(std::uint32_t count, const std::string& reason) {
    static_cast<void>(count);
    static_cast<void>(reason);
  }

  /// Reports that the endpoint cannot be opened; there is nothing to close. The last call.
  /// \param reason  a `std::runtime_error` that names the address
  virtual void failed(std::exception_ptr reason) = 0;

  /// Reports that the endpoint's socket is closed and the address is free again, which may take any time; earlier only
  /// if the whole transport stops. The last call.
  virtual void closed() = 0;

  /// Returns the answer to a peer's request. Called for bound endpoints only.
  ///
  /// \param request  the request's text
  /// \param asker    the name of the key that the peer has proved, whatever the request says; empty if there is none
  /// \throws anything; the text of a `std::exception` is sent to the peer
  virtual std::string answer(const std::string& request, const std::string& asker) = 0;
};

/// Identifies one endpoint.
struct EndpointDescription {
  std::string owner;    ///< the ID of its service publisher
  std::string name;     ///< as configured: an address or a discovery name
  std::string address;  ///< where to bind or connect: `tcp://`, `ipc://` or `inproc://` and the rest
  std::string key{};    ///< the name of the key that the peer has to prove; only to connect by `tcp`, empty for none
};

/// A service that opens endpoints to other processes.
///
/// Any thread may call it, several at once; only `ask` blocks. When the service is stopped, every endpoint is closed
/// and its listener notified. Later calls throw `std::runtime_error`, except `close`, which then does nothing.
class [[gnu::visibility("default")]] Transport {
 public:
  /// Identifies an endpoint that was opened.
  using EndpointID = std::uint64_t;

  virtual ~Transport() = default;

  /// Starts to listen, and keeps trying while the host is unknown. The outcome is reported to the listener, never
  /// thrown.
  /// \return the endpoint's ID, which is never reused
  virtual EndpointID bind(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) = 0;

  /// Starts to connect, and keeps trying while the peer is unreachable or its host unknown. The outcome is reported to
  /// the listener, never thrown.
  virtual EndpointID connect(const EndpointDescription& endpoint, std::shared_ptr<EndpointListener> listener) = 0;

  /// Closes an endpoint and notifies its listener by `closed` once the socket is closed. Does nothing for an endpoint
  /// that failed, is being closed, or is unknown.
  virtual void close(EndpointID endpoint) = 0;

  /// Sends a request over a connected endpoint and blocks until the peer's answer arrives.
  ///
  /// Must not be called from an EndpointListener: it would wait for its own thread.
  /// \param owner, name  those of the connected endpoint's description
  /// \param request      the text that the peer gets
  /// \param timeout      how long to wait; with zero or less the answer has to be there at once
  /// \throws std::runtime_error naming owner and endpoint if there is no such connection, if the answer does not
  ///         arrive in time, if the endpoint is closed meanwhile, or with the peer's text if the peer refuses
  virtual std::string ask(const std::string& owner, const std::string& name, const std::string& request,
                          std::chrono::milliseconds timeout) = 0;
};

}  // namespace agent::spf::frameworkinterfaces
