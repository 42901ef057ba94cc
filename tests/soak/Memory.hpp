#pragma once

namespace spf::soak {

/// Returns how many allocations of `operator new` live in this process, on all threads. The executable defines that
/// operator itself.
long liveAllocations();

/// While it lives, one allocation of its thread that may fail does so, and then each that follows at the same distance.
class FailingAllocations {
 public:
  /// \param distance  from the construction to the first one that fails, and from one to the next
  explicit FailingAllocations(int distance);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// While one lives, allocations of its thread may fail; those of the test itself may not.
  class Scope {
   public:
    Scope();
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
  };

  /// Returns how many allocations of all threads have failed so far.
  static long count();
};

}  // namespace spf::soak
