#include "commands/CommandLine.hpp"

#include <charconv>
#include <limits>
#include <optional>

namespace spfctl {

namespace {

template <class Number>
std::optional<Number> wholeNumber(const std::string& text) {
  Number number{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

std::chrono::milliseconds duration(const std::string& text) {
  static const std::pair<const char*, std::int64_t> units[] = {{"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};
  const auto digits = text.find_first_not_of("0123456789");
  const auto number = wholeNumber<std::int64_t>(text.substr(0, digits));
  const auto unit = digits == std::string::npos ? std::string() : text.substr(digits);
  for (const auto& [name, factor] : units) {
    if (number && unit == name && *number <= std::numeric_limits<std::int64_t>::max() / factor) {
      return std::chrono::milliseconds(*number * factor);
    }
  }
  throw UsageError("--timeout is '" + text + "'; expected a whole number and ms, s, m or h, like 30s");
}

std::uint32_t logLevel(const std::string& text) {
  if (text == "progress") {
    return 4;
  }
  if (text == "exceptions") {
    return 512;
  }
  if (text == "all") {
    return std::numeric_limits<std::uint32_t>::max();
  }
  if (const auto mask = wholeNumber<std::uint32_t>(text)) {
    return *mask;
  }
  throw UsageError("--log has the level '" + text + "'; expected progress, exceptions, all or a number");
}

std::uint32_t logLevels(const std::string& text) {
  std::uint32_t mask = 0;
  std::string::size_type begin = 0;
  for (auto comma = text.find(','); comma != std::string::npos; comma = text.find(',', begin)) {
    mask |= logLevel(text.substr(begin, comma - begin));
    begin = comma + 1;
  }
  return mask | logLevel(text.substr(begin));
}

std::filesystem::path existingDirectory(const std::string& text) {
  std::error_code error;
  if (!std::filesystem::is_directory(text, error)) {
    throw UsageError("--root is '" + text + "'; expected a directory that exists");
  }
  return text;
}

// Parses the arguments of `spfctl run`.
class RunArguments {
 public:
  explicit RunArguments(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  RunOptions parse() {
    bool optionsEnded = false;
    for (; next_ < arguments_.size(); ++next_) {
      const auto& argument = arguments_[next_];
      if (!optionsEnded && argument == "--") {
        optionsEnded = true;
      } else if (!optionsEnded && argument.size() > 1 && argument[0] == '-') {
        option(argument);
      } else {
        file(argument);
      }
    }
    if (options_.file.empty()) {
      throw UsageError("spfctl run: expected the configuration FILE");
    }
    return options_;
  }

 private:
  void file(const std::string& argument) {
    if (!options_.file.empty()) {
      throw UsageError("spfctl run: unexpected argument '" + argument + "' after the file '" + options_.file.string() +
                       "'");
    }
    if (argument.empty()) {
      throw UsageError("spfctl run: the FILE is empty; expected a file's name");
    }
    options_.file = argument;
  }

  void option(const std::string& argument) {
    const auto equals = argument.find('=');
    const auto name = argument.substr(0, equals);
    if (name == "--timeout") {
      options_.timeout = duration(value(argument, equals));
    } else if (name == "--root") {
      options_.root = existingDirectory(value(argument, equals));
    } else if (name == "--log") {
      options_.logLevels = logLevels(value(argument, equals));
    } else if (argument == "--once") {
      options_.once = true;
    } else if (argument == "--setup") {
      options_.setup = true;
    } else {
      throw UsageError("spfctl run: unknown option '" + argument +
                       "'; expected --root, --timeout, --once, --setup or --log");
    }
  }

  // The text after the equals sign, else the next argument.
  std::string value(const std::string& argument, std::string::size_type equals) {
    if (equals != std::string::npos) {
      return argument.substr(equals + 1);
    }
    if (next_ + 1 == arguments_.size()) {
      throw UsageError("spfctl run: expected a value after " + argument);
    }
    return arguments_[++next_];
  }

  const std::vector<std::string>& arguments_;
  std::size_t next_ = 1;
  RunOptions options_;
};

bool asksForHelp(const std::vector<std::string>& arguments) {
  for (const auto& argument : arguments) {
    if (argument == "--") {
      return false;
    }
    if (argument == "--help" || argument == "-h") {
      return true;
    }
  }
  return false;
}

}  // namespace

Command parseCommandLine(const std::vector<std::string>& arguments) {
  if (asksForHelp(arguments)) {
    return Help{};
  }
  if (arguments.empty()) {
    throw UsageError("spfctl: expected the command run");
  }
  if (arguments[0] != "run") {
    throw UsageError("spfctl: unknown command '" + arguments[0] + "'; expected run");
  }
  return RunArguments(arguments).parse();
}

const char* usage() {
  return R"(Usage: spfctl run FILE [OPTION...]

Publishes the configuration in FILE (JSON), shows what each service publisher still
has to bind and connect, and stays until it is interrupted; then withdraws it.

  --root DIR        installation root that holds bin/win64/spf (default: the tool's own tree)
  --timeout TIME    how long to wait until everything is ready, like 500ms, 30s, 2m (default: 30s)
  --once            leave when everything is ready
  --setup           bring up the framework's built-in configuration first
  --log LEVELS      show the library's log records on standard error: progress, exceptions, all, or
                    numbers, separated by commas
  -h, --help        show this text

Exit codes: 0 done; 1 failure at run time; 2 wrong usage; 3 configuration file unreadable or
invalid; 4 not ready in time; 5 refused by the framework; 129, 130, 143 interrupted before
everything was ready.
)";
}

}  // namespace spfctl
