#pragma once

#include <chrono>
#include <string>

#include <nlohmann/json_fwd.hpp>

#include "control/HostStatus.hpp"

namespace spfctl {

/// Adds a host's status to an answer. docs/control-socket.md describes it.
void addStatus(nlohmann::ordered_json& answer, const HostStatus& status);

}  // namespace spfctl
