#include "AllocationHook.hpp"

#include <cstdlib>
#include <new>
#include <utility>

namespace spf::test {

namespace {

thread_local AllocationHook* current = nullptr;

void* allocate(std::size_t size) {
  if (current != nullptr) {
    current->allocating(size);
  }
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
    return memory;
  }
  throw std::bad_alloc();
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

}  // namespace spf::test

__attribute__((visibility("default"))) void* operator new(std::size_t size) {
  return spf::test::allocate(size);
}
__attribute__((visibility("default"))) void* operator new[](std::size_t size) {
  return spf::test::allocate(size);
}
__attribute__((visibility("default"))) void operator delete(void* memory) noexcept {
  std::free(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory) noexcept {
  std::free(memory);
}
__attribute__((visibility("default"))) void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
__attribute__((visibility("default"))) void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
