#pragma once

#include <cerrno>

#include <zmq.hpp>

namespace spf::zeromq {

/// ZMQ_ZAP_ENFORCE_DOMAIN of zmq.h, which declares it for builds with the draft interface only.
inline constexpr int zapEnforceDomain = 93;

/// Makes a socket with a ZAP domain refuse its peers while no handler is bound; ZeroMQ would let all of them in.
/// \return false if this build of ZeroMQ has no such option
/// \throws zmq::error_t if the option cannot be set for another reason
inline bool requireZapHandler(zmq::socket_t& socket) {
  constexpr int required = 1;
  if (zmq_setsockopt(socket.handle(), zapEnforceDomain, &required, sizeof(required)) == 0) {
    return true;
  }
  if (zmq_errno() != EINVAL) {
    throw zmq::error_t();
  }
  return false;
}

}  // namespace spf::zeromq
