// Publishes, completes, modifies and withdraws configurations again and again while all kinds of things go wrong, and
// checks that nothing is left behind.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include <unistd.h>

#include "FailingAllocations.hpp"
#include "Soak.hpp"
#include "Violation.hpp"

namespace {

using spf::soak::Soak;
using spf::soak::Violation;

// A cycle takes milliseconds; one that hangs ends the process with a core file.
constexpr unsigned int mostSecondsOfACycle = 120;

struct Limits {
  std::chrono::steady_clock::time_point end = std::chrono::steady_clock::time_point::max();
  long cycles = 0;  // 0: until the end

  bool allow(long done) const { return cycles != 0 ? done < cycles : std::chrono::steady_clock::now() < end; }
};

void hangs(int) {
  static const char message[] = "spf_soak: a cycle hangs\n";
  const auto ignored = write(STDERR_FILENO, message, sizeof(message) - 1);
  static_cast<void>(ignored);
  std::abort();
}

void showProgress(const Soak& soak) {
  static const bool isTerminal = isatty(STDERR_FILENO) == 1;
  if (isTerminal && soak.cycles() % 20 == 0) {
    std::cerr << "\r\033[K" << soak.cycles() << " cycles" << std::flush;
  }
}

int run(const Limits& limits, std::uint32_t seed) {
  Soak soak(seed);
  try {
    soak.warmUp();
    while (limits.allow(soak.cycles())) {
      alarm(mostSecondsOfACycle);
      soak.cycle();
      showProgress(soak);
    }
    soak.finish();
  } catch (const Violation& violation) {
    std::cerr << "\nspf_soak: cycle " << soak.cycles() << " of seed " << seed << ", fault '" << soak.fault()
              << "': " << violation.text << '\n';
    return 1;
  }
  soak.printTo(std::cout);
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  std::signal(SIGALRM, hangs);
  std::signal(SIGXFSZ, SIG_IGN);
  spf::soak::FailingAllocations::prepare();
  try {
    Limits limits;
    int next = 1;
    if (count == 4 && arguments[1] == std::string("--cycles")) {
      limits.cycles = std::stol(arguments[2]);
      next = 3;
    } else if (count == 3) {
      limits.end = std::chrono::steady_clock::now() + std::chrono::seconds(std::stol(arguments[1]));
      next = 2;
    } else {
      std::cerr << "usage: spf_soak SECONDS SEED | spf_soak --cycles COUNT SEED\n";
      return 2;
    }
    return run(limits, static_cast<std::uint32_t>(std::stoul(arguments[next])));
  } catch (const std::exception& exception) {
    std::cerr << "spf_soak: " << exception.what() << '\n';
    return 1;
  }
}
