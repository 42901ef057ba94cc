#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace spfctl {

/// The options of `spfctl run`.
struct RunOptions {
  std::filesystem::path file;
  std::filesystem::path root;  ///< empty: the tree that the tool is in
  std::chrono::milliseconds timeout = std::chrono::seconds(30);
  bool once = false;
  bool setup = false;
  std::uint32_t logLevels = 0;
};

/// `spfctl --help`.
struct Help {};

/// The command line is invalid.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Command = std::variant<RunOptions, Help>;

/// Parses the arguments, without the program's name.
/// \throws UsageError naming the argument and what was expected
Command parseCommandLine(const std::vector<std::string>& arguments);

/// Returns the text that `--help` prints.
const char* usage();

}  // namespace spfctl
