#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CountedEndpoint.hpp"
#include "support/AllocationHook.hpp"
#include "support/Hashes.hpp"

namespace spf::test {

/// What an operation does, counted on the thread that runs it.
struct Work {
  int allocations = 0;
  int comparisons = 0;
  int copies = 0;
  int hashes = 0;
};

template <class Operation>
Work workOf(Operation operation) {
  const Work before{0, CountedEndpoint::comparisons, CountedEndpoint::copies, hashesFromThisThread()};
  const AllocationHook hook([](int, std::size_t) {});
  operation();
  return {hook.count(), CountedEndpoint::comparisons - before.comparisons, CountedEndpoint::copies - before.copies,
          hashesFromThisThread() - before.hashes};
}

/// Puts a count into the test's report.
inline void report(const std::string& what, int scale, int count) {
  testing::Test::RecordProperty(what + "At" + std::to_string(scale), count);
}

}  // namespace spf::test
