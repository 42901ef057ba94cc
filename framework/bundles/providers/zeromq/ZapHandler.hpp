#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include <zmq.hpp>
#include "agent/spf/security/TrustedKeys.hpp"
#include "judgeHandshake.hpp"

namespace spf::zeromq {

/// Answers ZeroMQ's requests whether peers are let in, each one after a refresh of the trusted keys that began after
/// it had arrived. Used on the socket loop's thread only.
class ZapHandler {
 public:
  /// Binds the socket that ZeroMQ sends its requests to.
  /// \param requestRefresh  requests a refresh of the trusted keys, and returns the request's number, which only grows
  /// \throws zmq::error_t if the context has no socket left, or a handler already
  ZapHandler(zmq::context_t& context, std::function<std::uint64_t()> requestRefresh);

  /// Returns the socket to poll.
  void* handle() noexcept { return socket_.handle(); }

  /// Receives requests, up to a limit.
  void receive();

  /// Admits an accepted peer to the socket of the judgement's domain.
  /// \return false if there is no such socket any more; the peer is refused then
  using Admission = std::function<bool(const Judgement& judgement)>;

  /// Answers the requests that waited for a refresh.
  /// \param refreshed  the number of the latest request for a refresh that was fulfilled
  void answer(std::uint64_t refreshed, const agent::spf::security::TrustedKeys& trusted, const Admission& admit);

 private:
  struct Request {
    std::uint64_t refresh;  ///< that it waits for
    zmq::message_t peer;
    std::vector<std::string> frames;
  };

  void send(zmq::message_t peer, const Judgement& judgement);

  const std::function<std::uint64_t()> requestRefresh_;
  zmq::socket_t socket_;
  std::deque<Request> pending_;
};

}  // namespace spf::zeromq
