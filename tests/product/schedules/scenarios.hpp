#pragma once

#include <vector>

#include "explore.hpp"

namespace spf::test::schedules {

/// Uses of the library, in which several threads do at the same time what they may.
const std::vector<Scenario>& scenarios();

}  // namespace spf::test::schedules
