#include "descriptorLimits.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <vector>

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace spf::zeromq {

namespace {

constexpr rlim_t zeroMqLimit = 65535;

rlimit descriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  return limit;
}

/// More than an endpoint needs, and more than a failed endpoint has closed again. The first endpoint starts ZeroMQ's
/// threads, which need some too.
constexpr std::size_t probedDescriptors = 16;

/// Returns the error of opening that many descriptors; 0 if they can be opened.
int probeDescriptors() {
  std::vector<int> descriptors;
  int error = 0;
  while (error == 0 && descriptors.size() < probedDescriptors) {
    const int descriptor = eventfd(0, EFD_CLOEXEC);
    if (descriptor < 0) {
      error = errno;
    } else {
      descriptors.push_back(descriptor);
    }
  }
  for (const int descriptor : descriptors) {
    close(descriptor);
  }
  return error;
}

}  // namespace

int maxSockets() {
  // The hard limit, since a process may raise the soft one up to it at any time.
  return static_cast<int>(std::min(descriptorLimit().rlim_max, zeroMqLimit));
}

bool isDescriptorShortage(int error) {
  return error == EMFILE || error == ENFILE;
}

void requireDescriptors() {
  if (const int error = probeDescriptors(); isDescriptorShortage(error)) {
    throw std::system_error(error, std::generic_category());
  }
}

std::string describeDescriptorLimit(int error) {
  return error == EMFILE ? "the process has reached its limit of " + std::to_string(descriptorLimit().rlim_cur) +
                               " open files (ulimit -n)"
                         : "the system has reached its limit of open files (fs.file-max)";
}

std::string describeDescriptorLimit(zmq::context_t& context) {
  const int error = probeDescriptors();
  return isDescriptorShortage(error)
             ? describeDescriptorLimit(error)
             : "the limit of " + std::to_string(context.get(zmq::ctxopt::max_sockets)) + " ZeroMQ sockets is reached";
}

}  // namespace spf::zeromq
