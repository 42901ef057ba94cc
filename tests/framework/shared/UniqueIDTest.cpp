#include "agent/spf/frameworksupport/uniqueID.hpp"

#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace {

using agent::spf::frameworksupport::uniqueID;

TEST(AUniqueID, IsRandomDigitsAndACount) {
  const auto first = uniqueID();
  const auto second = uniqueID();
  EXPECT_THAT(first, testing::MatchesRegex("[0-9a-f]{16}-[0-9]+"));
  EXPECT_EQ(first.substr(0, 17), second.substr(0, 17));
  EXPECT_NE(first, second);
}

TEST(AUniqueID, IsUniqueForManyThreads) {
  std::mutex mutex;
  std::set<std::string> ids;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 250; ++round) {
        const auto id = uniqueID();
        const std::lock_guard<std::mutex> lock(mutex);
        ids.insert(id);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(ids.size(), 1000u);
}

}  // namespace
