#include "descriptorLimits.hpp"

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace spf::zeromq {

namespace {

constexpr rlim_t zeroMqLimit = 65535;

rlimit descriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return limit;
}

/// Why a descriptor cannot be had now; 0 when one can.
int probeDescriptors() {
  const int descriptor = eventfd(0, EFD_CLOEXEC);
  if (descriptor < 0) {
    return errno;
  }
  close(descriptor);
  return 0;
}

}  // namespace

int mostSockets() {
  // The hard limit, since a process may raise the soft one up to it at any time.
  return static_cast<int>(std::min(descriptorLimit().rlim_max, zeroMqLimit));
}

std::string describeDescriptorLimit(zmq::context_t& context) {
  switch (probeDescriptors()) {
    case EMFILE:
      return "the process has reached its limit of " + std::to_string(descriptorLimit().rlim_cur) +
             " open files (ulimit -n)";
    case ENFILE:
      return "the system has reached its limit of open files (fs.file-max)";
    default:
      return "the limit of " + std::to_string(context.get(zmq::ctxopt::max_sockets)) + " ZeroMQ sockets is reached";
  }
}

}  // namespace spf::zeromq
