#include "Memory.hpp"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace spf::soak {

namespace {

std::atomic<long> live{0};
std::atomic<long> failed{0};
thread_local int distance = 0;  // 0: none fails
thread_local int left = 0;
thread_local bool mayFail = false;

/// Returns null if there is no memory.
void* tryToAllocate(std::size_t size) noexcept {
  if (mayFail && distance != 0 && --left == 0) {
    left = distance;
    ++failed;
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

FailingAllocations::FailingAllocations(int distanceOfFailures) {
  distance = distanceOfFailures;
  left = distanceOfFailures;
}

FailingAllocations::~FailingAllocations() {
  distance = 0;
}

FailingAllocations::Scope::Scope() {
  mayFail = true;
}

FailingAllocations::Scope::~Scope() {
  mayFail = false;
}

long FailingAllocations::count() {
  return failed;
}

}  // namespace spf::soak

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  return spf::soak::allocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
  return spf::soak::allocate(size);
}
// The sanitizers' own would not count, and what it returns may not be given to free().
__attribute__((visibility("default"))) void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return spf::soak::tryToAllocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return spf::soak::tryToAllocate(size);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
  spf::soak::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory) noexcept {
  spf::soak::release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
  spf::soak::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory, std::size_t) noexcept {
  spf::soak::release(memory);
}
