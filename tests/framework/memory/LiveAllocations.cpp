#include "LiveAllocations.hpp"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace frameworktest {

namespace {

// Counted with an order, which ThreadSanitizer needs: ZeroMQ releases on one thread what another one has allocated, and
// it sees nothing of how ZeroMQ orders them.
std::atomic<long> live{0};

bool never() noexcept {
  return false;
}

bool (*fails)() noexcept = never;

/// Returns null if there is no memory.
void* tryToAllocate(std::size_t size) noexcept {
  if (fails()) {
    return nullptr;
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  live += memory != nullptr ? 1 : 0;
  return memory;
}

void* allocate(std::size_t size) {
  if (void* const memory = tryToAllocate(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

void release(void* memory) noexcept {
  if (memory != nullptr) {
    --live;
    std::free(memory);
  }
}

}  // namespace

long liveAllocations() {
  return live;
}

void letAllocationsFail(bool (*decision)() noexcept) {
  fails = decision;
}

}  // namespace frameworktest

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  return frameworktest::allocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
  return frameworktest::allocate(size);
}
// The sanitizers' own would not count, and what it returns may not be given to free().
__attribute__((visibility("default"))) void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return frameworktest::tryToAllocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return frameworktest::tryToAllocate(size);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
  frameworktest::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory) noexcept {
  frameworktest::release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
  frameworktest::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory, std::size_t) noexcept {
  frameworktest::release(memory);
}
