#pragma once

#include <string>

#include <zmq.hpp>

namespace spf::zeromq {

/// Returns how many sockets a context should allow: as many as the process may ever have file descriptors, since each
/// socket needs at least one, but no more than ZeroMQ allows.
int maxSockets();

/// Returns a text that names the exhausted limit, after a socket could not be created for want of descriptors.
std::string describeDescriptorLimit(zmq::context_t& context);

}  // namespace spf::zeromq
