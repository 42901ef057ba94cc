#include "Waker.hpp"

#include <cerrno>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace spf::zeromq {

Waker::Waker() : descriptor_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "the ZeroMQ transport cannot make its wake-up descriptor");
  }
}

Waker::~Waker() {
  close(descriptor_);
}

void Waker::wake() noexcept {
  // Fails only if the counter is full, and then the descriptor is readable already.
  [[maybe_unused]] const int result = eventfd_write(descriptor_, 1);
}

void Waker::clear() noexcept {
  eventfd_t ignored = 0;
  [[maybe_unused]] const int result = eventfd_read(descriptor_, &ignored);
}

}  // namespace spf::zeromq
