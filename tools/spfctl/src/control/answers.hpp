#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

#include "commands/ExitCode.hpp"
#include "control/protocol.hpp"

// Includes the JSON library, which is slow to compile: for those that make answers only.
namespace spfctl {

/// How much of a wrong value an error repeats, in bytes.
constexpr std::size_t longestRepetition = 100;

/// Returns the answer to a request that was carried out; members may be added.
inline nlohmann::ordered_json success() {
  return {{"version", protocol::version}, {"ok", true}};
}

/// Returns the answer to a request that was not carried out.
inline nlohmann::ordered_json failure(ExitCode code, const std::string& error) {
  return {{"version", protocol::version}, {"ok", false}, {"code", static_cast<int>(code)}, {"error", error}};
}

/// Returns the answer to a request that the host's end has overtaken.
inline nlohmann::ordered_json hostIsEnding() {
  return failure(ExitCode::failedAtRunTime, "the host is ending");
}

}  // namespace spfctl
