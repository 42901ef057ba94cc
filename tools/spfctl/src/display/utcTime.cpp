#include "display/utcTime.hpp"

#include <cstdio>
#include <ctime>

namespace spfctl {

std::string utcTime(std::chrono::system_clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const auto wholeSeconds = std::chrono::system_clock::to_time_t(seconds);
  std::tm parts{};
  gmtime_r(&wholeSeconds, &parts);
  char date[32];
  const auto length = std::strftime(date, sizeof(date), "%FT%T", &parts);
  char milliseconds[16];
  std::snprintf(milliseconds, sizeof(milliseconds), ".%03dZ",
                static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(time - seconds).count()));
  return std::string(date, length) + milliseconds;
}

}  // namespace spfctl
