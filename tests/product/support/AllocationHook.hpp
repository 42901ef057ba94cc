#pragma once

#include <cstddef>
#include <functional>

namespace spf::test {

/// While it lives, runs an action before every allocation that its thread makes with `operator new`.
/// The action is told the number of the allocation, from 1, and its size in bytes; what it allocates itself is not
/// counted, and what it throws comes out of `operator new`. The test executable defines that operator itself.
class AllocationHook {
 public:
  explicit AllocationHook(std::function<void(int, std::size_t)> action);
  ~AllocationHook();
  AllocationHook(const AllocationHook&) = delete;
  AllocationHook& operator=(const AllocationHook&) = delete;

  /// How many allocations there were.
  int count() const { return count_; }

  void allocating(std::size_t size);

 private:
  const std::function<void(int, std::size_t)> action_;
  int count_ = 0;
};

/// Returns how many bytes all threads have taken with `operator new` and not given back, as the allocator rounds them.
std::size_t bytesInUse();

}  // namespace spf::test
