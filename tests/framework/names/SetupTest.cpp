#include <algorithm>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "support/Configuration.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworksetup::setupFramework;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;

TEST(TheFrameworksSetup, ConnectsToThePublishersThatAreAnnouncedUnderItsNames) {
  RunningFramework framework;
  StatusWatch status(framework.service<EndpointStatus>());
  setupFramework();
  const auto connections = [](const std::vector<EndpointState>& states, EndpointState::Phase phase) {
    return std::count_if(states.begin(), states.end(), [&](const EndpointState& state) {
      return state.direction == EndpointState::Direction::connect && state.phase == phase;
    });
  };
  EXPECT_TRUE(status.waitForList([&](const std::vector<EndpointState>& states) {
    return connections(states, EndpointState::Phase::unresolved) == 2;
  })) << testing::PrintToString(framework.service<EndpointStatus>()->list());
  framework.update("services", Configuration(1)
                                   .publisher("quintafexServiceHostDiscovery")
                                   .bind(freeAddress())
                                   .publisher("zephraConnectorDiscovery")
                                   .bind(freeAddress()));
  EXPECT_TRUE(status.waitForList([&](const std::vector<EndpointState>& states) {
    return connections(states, EndpointState::Phase::up) == 2;
  })) << testing::PrintToString(framework.service<EndpointStatus>()->list());
}

}  // namespace
