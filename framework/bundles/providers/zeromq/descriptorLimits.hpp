#pragma once

#include <string>

#include <zmq.hpp>

namespace spf::zeromq {

/// Returns how many sockets a context should allow: as many as the process may ever have file descriptors, since each
/// socket needs at least one, but no more than ZeroMQ allows.
int maxSockets();

/// Tells whether an error of the system says that there are no more descriptors.
bool isDescriptorShortage(int error);

/// Throws unless an endpoint gets the descriptors that it needs. ZeroMQ 4.3.4 ends the process when it gets none while
/// it binds; this look before it leaves only what other threads take in between.
///
/// \throws std::system_error with EMFILE or ENFILE
void requireDescriptors();

/// Returns a text that names the limit that such an error is about.
std::string describeDescriptorLimit(int error);

/// Returns a text that names the exhausted limit, after a socket could not be created for want of descriptors.
std::string describeDescriptorLimit(zmq::context_t& context);

}  // namespace spf::zeromq
