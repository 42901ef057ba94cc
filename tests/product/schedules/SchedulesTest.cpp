#include <gtest/gtest.h>

#include "scenarios.hpp"

namespace spf::test::schedules {

namespace {

class InManySchedules : public testing::TestWithParam<const Scenario*> {};

std::vector<const Scenario*> allScenarios() {
  std::vector<const Scenario*> all;
  for (const auto& scenario : scenarios()) {
    all.push_back(&scenario);
  }
  return all;
}

TEST_P(InManySchedules, ThePromisesHold) {
  const auto& scenario = *GetParam();
  const auto result = explore(scenario, Seeds{1, SPF_SCHEDULES}.orFromEnvironment());
  RecordProperty("schedules", std::to_string(result.schedules));
  RecordProperty("distinct", std::to_string(result.distinct));
  RecordProperty("decisions", std::to_string(result.decisions));
  if (result.failure) {
    FAIL() << result.failure->trace << "\nSCHEDULE_PARAMS=\"seed=" << result.failure->seed
           << " schedules=1\" repeats this schedule alone.";
  }
  std::cout << scenario.name << ": " << result.schedules << " schedules, " << result.distinct << " distinct, "
            << result.decisions << " decisions\n";
}

INSTANTIATE_TEST_SUITE_P(Schedules, InManySchedules, testing::ValuesIn(allScenarios()),
                         [](const auto& parameter) { return std::string(parameter.param->name); });

}  // namespace

}  // namespace spf::test::schedules
