#include "display/terminal.hpp"

#include <chrono>
#include <cstdlib>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "display/utcTime.hpp"

namespace spfctl {

namespace {

// The usual size, for terminals that report none.
constexpr TerminalSize usualSize{80, 24};

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

bool isTerminal() {
  return isatty(STDOUT_FILENO) != 0 && variable("TERM") != "dumb";
}

}  // namespace

std::optional<TerminalSize> terminalSize() {
  if (!isTerminal()) {
    return std::nullopt;
  }
  winsize size{};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 2 || size.ws_row < 2) {
    return usualSize;
  }
  return TerminalSize{size.ws_col, size.ws_row};
}

bool mayBeColoured() {
  return isTerminal() && variable("NO_COLOR").empty();
}

bool isOutputAbandoned() {
  struct stat status {};
  pollfd channel{STDOUT_FILENO, 0, 0};
  return fstat(STDOUT_FILENO, &status) == 0 && S_ISFIFO(status.st_mode) && poll(&channel, 1, 0) > 0 &&
         (channel.revents & POLLERR) != 0;
}

std::string timeStamp() {
  return utcTime(std::chrono::system_clock::now());
}

}  // namespace spfctl
