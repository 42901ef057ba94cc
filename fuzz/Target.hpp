#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/// What a fuzzer calls with one input after the other, and the replay of the corpora with each of their files.
/// \return 0, as libFuzzer wants it
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace spf::fuzz {

/// Ends the process, which is how a fuzzer learns that it found something.
/// \param expectation  what should have held
inline void require(bool holds, const char* expectation) {
  if (!holds) {
    std::fprintf(stderr, "Not true for this input: %s\n", expectation);
    std::abort();
  }
}

}  // namespace spf::fuzz
