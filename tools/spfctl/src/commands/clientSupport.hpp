#pragma once

#include <exception>
#include <filesystem>
#include <ostream>
#include <string>

#include <nlohmann/json.hpp>

#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"
#include "control/ControlClient.hpp"
#include "display/terminalText.hpp"

// What the commands for running hosts share. Includes the JSON library, which is slow to compile.
namespace spfctl {

/// Runs a command, prints why it failed, and returns the exit code for that.
template <class Command>
ExitCode runClient(const char* name, const Output& output, Command command) {
  const auto print = [&](const std::exception& error) {
    output.err << "spfctl " << name << ": " << escaped(error.what()) << std::endl;
  };
  try {
    return command();
  } catch (const NoAnswerError& error) {
    print(error);
    return ExitCode::notReadyInTime;
  } catch (const std::exception& error) {
    print(error);
    return ExitCode::failedAtRunTime;
  }
}

/// Returns the host that is meant: the named one, or without a name the only one there is.
/// \throws NoHostError or ControlError if that is none or several
std::string hostNamed(const std::string& name, const ControlFolder& folder);

/// Returns the exit code of an answer; prints what it says if it is not 0.
ExitCode codeOf(const nlohmann::ordered_json& answer, const char* command, const Output& output);

/// Returns a text of an answer, escaped for a terminal; empty if there is none of that name.
std::string textOf(const nlohmann::ordered_json& object, const char* name);

}  // namespace spfctl
