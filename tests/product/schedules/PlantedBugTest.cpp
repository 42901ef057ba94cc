#include <gtest/gtest.h>

#include <iostream>

#include "scenarios.hpp"

namespace spf::test::schedules {

namespace {

// Linked with a changed source of the library. The unchanged one passes the same schedules in SchedulesTest.cpp.
TEST(APlantedBug, IsFoundInAThousandSchedules) {
  for (const auto& scenario : scenarios()) {
    const auto result = explore(scenario, Seeds{}.orFromEnvironment());
    if (result.failure) {
      const auto& trace = result.failure->trace;
      std::cout << scenario.name << " finds it with seed " << result.failure->seed << ", after " << result.schedules
                << " other schedules:\n"
                << trace.substr(trace.size() > 600 ? trace.find('\n', trace.size() - 600) : 0);
      return;
    }
  }
  FAIL() << "no scenario finds it";
}

}  // namespace

}  // namespace spf::test::schedules
