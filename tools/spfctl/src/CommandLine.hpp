#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace spfctl {

/// What `spfctl run` was asked to do.
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

/// The command line asks for something that there is not.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Command = std::variant<RunOptions, Help>;

/// Reads the arguments, without the program's name.
/// \throws UsageError naming the argument and what was expected
Command parseCommandLine(const std::vector<std::string>& arguments);

/// What `--help` prints.
const char* usage();

}  // namespace spfctl
