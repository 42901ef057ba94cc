#include "display/terminal.hpp"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

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
  const auto now = std::chrono::system_clock::now();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  const auto time = std::chrono::system_clock::to_time_t(seconds);
  std::tm parts{};
  gmtime_r(&time, &parts);
  char date[32];
  const auto length = std::strftime(date, sizeof(date), "%FT%T", &parts);
  char milliseconds[16];
  std::snprintf(milliseconds, sizeof(milliseconds), ".%03dZ",
                static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(now - seconds).count()));
  return std::string(date, length) + milliseconds;
}

}  // namespace spfctl
