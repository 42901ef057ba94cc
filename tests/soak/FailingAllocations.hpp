#pragma once

namespace spf::soak {

/// While it lives, one allocation of its thread that may fail does so, and then each that follows at the same distance.
class FailingAllocations {
 public:
  /// Is in vain unless the process has called `prepare`.
  /// \param distance  from the construction to the first one that fails, and from one to the next
  explicit FailingAllocations(int distance);
  ~FailingAllocations();
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Lets allocations of this process fail where an object says so. Call it before there are threads.
  static void prepare();

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
