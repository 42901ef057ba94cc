#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

#include "AllocationHook.hpp"

namespace spf::test {

/// Fails the calling thread's allocations, one in each round: the first one of an operation in the
/// first round, the second one in the second round, until the operation has no allocation left to fail.
/// How many there were is recorded with the test's result.
class FailingAllocations {
 public:
  /// \param round  prepares, calls `run` once, and checks what `run` left behind
  static void inEveryRound(const std::function<void(FailingAllocations&)>& round) {
    FailingAllocations failing;
    do {
      SCOPED_TRACE("failing allocation " + std::to_string(++failing.number_));
      failing.failed_ = false;
      round(failing);
    } while (failing.failed_ && !testing::Test::HasFailure());
    testing::Test::RecordProperty("allocations", failing.number_ - 1);
    EXPECT_GT(failing.number_, 1) << "the operation allocates nothing";
  }

  /// Runs the operation with this round's allocation failing.
  /// \return whether it threw anything
  template <class Operation>
  bool run(Operation operation) {
    const AllocationHook hook([this](int allocation, std::size_t) {
      if (allocation == number_) {
        failed_ = true;
        throw std::bad_alloc();
      }
    });
    try {
      operation();
      return false;
    } catch (...) {
      return true;
    }
  }

  /// Whether there was an allocation to fail in this round.
  bool failed() const { return failed_; }

 private:
  int number_ = 0;
  bool failed_ = false;
};

/// How often an operation allocates on the calling thread.
template <class Operation>
int allocationsOf(Operation operation) {
  const AllocationHook hook([](int, std::size_t) {});
  operation();
  return hook.count();
}

}  // namespace spf::test
