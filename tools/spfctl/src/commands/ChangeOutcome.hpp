#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "commands/ExitCode.hpp"

namespace spfctl {

/// How replacing a configuration ended.
struct ChangeOutcome {
  ExitCode code = ExitCode::done;
  std::string error;                  ///< one line; empty if everything is ready
  std::vector<std::string> messages;  ///< details of the error, a line each
  std::string recovery;               ///< what was done to keep the old content; empty if nothing
};

}  // namespace spfctl
