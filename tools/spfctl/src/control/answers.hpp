#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "commands/ExitCode.hpp"
#include "control/protocol.hpp"

// Includes the JSON library, which is slow to compile: for those that make answers only.
namespace spfctl {

/// Returns the answer to a request that was carried out; members may be added.
inline nlohmann::ordered_json success() {
  return {{"version", protocol::version}, {"ok", true}};
}

/// Returns the answer to a request that was not carried out.
inline nlohmann::ordered_json failure(ExitCode code, const std::string& error) {
  return {{"version", protocol::version}, {"ok", false}, {"code", static_cast<int>(code)}, {"error", error}};
}

}  // namespace spfctl
