#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Target.hpp"

namespace spf::test {

/// Passes every file of a folder to the linked target, whole and cut off at every length. A target that finds a fault
/// ends the process.
inline void replay(const std::filesystem::path& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string input(std::istreambuf_iterator<char>(file), {});
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(input.data());
    for (std::size_t size = 0; size <= input.size(); ++size) {
      LLVMFuzzerTestOneInput(bytes, size);
    }
    ++count;
  }
  EXPECT_GE(count, 10) << "too few files in " << folder << " to prove anything";
}

}  // namespace spf::test
