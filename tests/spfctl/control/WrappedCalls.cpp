#include "control/WrappedCalls.hpp"

#include <sys/socket.h>

#include <cerrno>

namespace spf::test {

std::function<void()> onFlock;
std::function<bool()> failsToAccept;

}  // namespace spf::test

// The linker hands the product's calls to these.
extern "C" {

int __real_flock(int descriptor, int operation);
int __real_accept(int descriptor, sockaddr* address, socklen_t* size);

int __wrap_flock(int descriptor, int operation) {
  if (spf::test::onFlock) {
    spf::test::onFlock();
  }
  return __real_flock(descriptor, operation);
}

int __wrap_accept(int descriptor, sockaddr* address, socklen_t* size) {
  if (spf::test::failsToAccept && spf::test::failsToAccept()) {
    errno = EMFILE;
    return -1;
  }
  return __real_accept(descriptor, address, size);
}
}
