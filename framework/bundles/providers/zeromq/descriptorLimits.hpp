#pragma once

#include <string>

#include <zmq.hpp>

namespace spf::zeromq {

/// How many sockets a context should be able to hold: as many as the process may ever have file
/// descriptors, since each needs one at least, and no more than ZeroMQ allows.
int mostSockets();

/// Which limit was reached when no socket could be made for want of descriptors.
std::string describeDescriptorLimit(zmq::context_t& context);

}  // namespace spf::zeromq
