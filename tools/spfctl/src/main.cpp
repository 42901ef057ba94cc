#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <iostream>

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Run.hpp"

namespace {

// The width of the terminal at standard output; 0 if it is not a terminal.
std::size_t terminalColumns() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0) {
    return 0;
  }
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 80;
}

// Every endpoint needs file descriptors. The soft limit is low for programs that use select(), which this one does not.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

}  // namespace

int main(int argc, char** argv) {
  raiseDescriptorLimit();
  spfctl::Changes changes;
  const spfctl::Signals signals(changes);
  try {
    const auto command = spfctl::parseCommandLine({argv + 1, argv + argc});
    if (const auto* options = std::get_if<spfctl::RunOptions>(&command)) {
      return spfctl::run(*options, signals, changes, {std::cout, std::cerr, terminalColumns()});
    }
    std::cout << spfctl::usage();
    return static_cast<int>(spfctl::ExitCode::done);
  } catch (const spfctl::UsageError& error) {
    std::cerr << error.what() << "\nTry 'spfctl --help'.\n";
    return static_cast<int>(spfctl::ExitCode::wrongUsage);
  }
}
