#pragma once

#include <cerrno>

#include <zmq.hpp>

namespace spf::zeromq {

/// Makes a ZeroMQ call, and repeats it whenever a signal interrupts it.
template <class Call>
auto retryInterrupted(const Call& call) -> decltype(call()) {
  for (;;) {
    try {
      return call();
    } catch (const zmq::error_t& error) {
      if (error.num() != EINTR) {
        throw;
      }
    }
  }
}

}  // namespace spf::zeromq
