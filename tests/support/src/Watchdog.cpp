#include "spf/test/Watchdog.hpp"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

namespace spf::test {

namespace {

// Prepared before the alarm is set, so that the handler only has to write it.
std::string message;

extern "C" void onAlarm(int) {
  [[maybe_unused]] const auto written = write(STDERR_FILENO, message.data(), message.size());
  std::abort();
}

}  // namespace

void Watchdog::OnTestStart(const testing::TestInfo& test) {
  message = std::string("watchdog: ") + test.test_suite_name() + "." + test.name() + " hangs\n";
  std::signal(SIGALRM, onAlarm);
  alarm(seconds_);
}

void Watchdog::OnTestEnd(const testing::TestInfo&) {
  alarm(0);
}

}  // namespace spf::test
