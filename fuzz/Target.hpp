#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// Tests one input. Called repeatedly by a fuzzer, and by the replay of the corpora for each file.
/// \return 0, as libFuzzer requires
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace spf::fuzz {

/// Aborts the process unless a condition holds; a fuzzer takes that for a finding.
/// \param expectation  the condition in words
inline void require(bool holds, const char* expectation) {
  if (!holds) {
    std::fprintf(stderr, "Not true for this input: %s\n", expectation);
    std::abort();
  }
}

}  // namespace spf::fuzz
