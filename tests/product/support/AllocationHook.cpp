#include "AllocationHook.hpp"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace spf::test {

namespace {

thread_local AllocationHook* current = nullptr;

// Counted without an order: one would hide races between threads from ThreadSanitizer.
std::atomic<std::size_t> inUse{0};

void* allocate(std::size_t size) {
  if (current != nullptr) {
    current->allocating(size);
  }
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
    inUse.fetch_add(malloc_usable_size(memory), std::memory_order_relaxed);
    return memory;
  }
  throw std::bad_alloc();
}

void release(void* memory) {
  inUse.fetch_sub(malloc_usable_size(memory), std::memory_order_relaxed);
  std::free(memory);
}

}  // namespace

AllocationHook::AllocationHook(std::function<void(int, std::size_t)> action) : action_(std::move(action)) {
  current = this;
}

AllocationHook::~AllocationHook() {
  current = nullptr;
}

void AllocationHook::allocating(std::size_t size) {
  struct Suspended {
    Suspended() : hook(std::exchange(current, nullptr)) {}
    ~Suspended() { current = hook; }
    AllocationHook* const hook;
  } suspended;
  action_(++count_, size);
}

std::size_t bytesInUse() {
  return inUse.load(std::memory_order_relaxed);
}

}  // namespace spf::test

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  return spf::test::allocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
  return spf::test::allocate(size);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
  spf::test::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory) noexcept {
  spf::test::release(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
  spf::test::release(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory, std::size_t) noexcept {
  spf::test::release(memory);
}
