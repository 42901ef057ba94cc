// Runs pairs of the library's work and its floor.
//
//   product_benchmark [--benchmark_...]           Google Benchmark's table of times
//   product_benchmark --list                      a line for each pair and size: name, size, rounds of one preparation,
//                                                 and what is counted: rounds, parts, processes or bytes
//   product_benchmark --check                     one round of each side of each pair; fails if their results differ
//   product_benchmark --work NAME --side work|floor --size S --rounds N [--time | --bytes]
//                                                 that many rounds after one preparation; with --time prints
//                                                 nanoseconds per round, with --bytes the memory that they took and
//                                                 have not given back
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include <benchmark/benchmark.h>

#include "Measured.hpp"
#include "Pair.hpp"
#include "RunningHost.hpp"

namespace spf::benchmarks {

namespace {

using Options = std::map<std::string, std::string>;

Side sideOf(const Pair& pair, const std::string& side, int size) {
  if (side == "work") {
    return pair.work(size);
  }
  if (side == "floor") {
    return pair.floor(size);
  }
  throw std::invalid_argument("--side is '" + side + "'; expected work or floor");
}

Pair pairNamed(const std::string& name) {
  for (auto& pair : allPairs()) {
    if (pair.name == name) {
      return pair;
    }
  }
  throw std::invalid_argument("--work is '" + name + "'; --list shows the names");
}

const char* nameOf(Counting counting) {
  switch (counting) {
    case Counting::parts:
      return "parts";
    case Counting::processes:
      return "processes";
    case Counting::bytes:
      return "bytes";
    default:
      return "rounds";
  }
}

void list() {
  for (const auto& pair : allPairs()) {
    for (const int size : pair.sizes) {
      std::cout << pair.name << ' ' << size << ' ' << pair.rounds(size) << ' ' << nameOf(pair.counting) << '\n';
    }
  }
}

// Sizes beyond this one take long and show nothing more.
constexpr int largestChecked = 100;

int check() {
  int failures = 0;
  for (const auto& pair : allPairs()) {
    for (const int size : pair.sizes) {
      if (size > largestChecked) {
        continue;
      }
      auto work = pair.work(size);
      auto floor = pair.floor(size);
      for (const auto* side : {&work, &floor}) {
        side->prepare(1);
        side->run(1);
      }
      if (!(work.result() == floor.result())) {
        std::cerr << pair.name << ", size " << size << ": work and floor have different results\n";
        ++failures;
      }
    }
  }
  return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int number(const Options& options, const char* name) {
  const auto found = options.find(name);
  if (found == options.end() || found->second.find_first_not_of("0123456789") != std::string::npos) {
    throw std::invalid_argument(std::string(name) + " needs a number");
  }
  return std::stoi(found->second);
}

std::string text(const Options& options, const char* name) {
  const auto found = options.find(name);
  return found == options.end() ? std::string() : found->second;
}

// With what the allocator needs for its own books. Waits until no other thread takes or gives back any: Configuration
// Admin works on one of its own.
std::size_t bytesInUse() {
  const auto current = [] {
    const auto arenas = mallinfo2();
    return arenas.uordblks + arenas.hblkhd;
  };
  for (auto latest = current();;) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (const auto next = std::exchange(latest, current()); next == latest) {
      return latest;
    }
  }
}

// Always prepares for as many rounds, so that two runs differ by their rounds alone.
[[noreturn]] void runRounds(const Options& options) {
  const auto pair = pairNamed(text(options, "--work"));
  const int size = number(options, "--size");
  const int rounds = number(options, "--rounds");
  if (rounds > pair.rounds(size)) {
    throw std::invalid_argument("--rounds: one preparation of '" + pair.name + "' is for " +
                                std::to_string(pair.rounds(size)));
  }
  auto side = sideOf(pair, text(options, "--side"), size);
  if (options.count("--time") != 0) {
    side.prepare(pair.rounds(size));
    side.run(rounds);  // What only the first rounds do, and cold caches, are not to be timed.
  }
  side.prepare(pair.rounds(size));
  takeMeasuredTime();
  const auto bytesBefore = options.count("--bytes") != 0 ? bytesInUse() : 0;
  const auto begin = std::chrono::steady_clock::now();
  side.run(rounds);
  const auto whole = std::chrono::steady_clock::now() - begin;
  if (options.count("--bytes") != 0) {
    std::cout << bytesInUse() - bytesBefore << std::endl;
  }
  if (options.count("--time") != 0) {
    const std::chrono::duration<double, std::nano> taken =
        pair.counting == Counting::parts ? takeMeasuredTime() : whole;
    std::cout << taken.count() / rounds << std::endl;
  }
  stopHost();
  if (pair.counting == Counting::processes) {
    side = {};  // deletes the processes' files
  }
  std::_Exit(EXIT_SUCCESS);  // What is left over is not to be counted.
}

void runBenchmark(benchmark::State& state, Side (*make)(int), int rounds, Counting counting) {
  const auto side = make(static_cast<int>(state.range(0)));
  while (state.KeepRunningBatch(rounds)) {
    side.prepare(rounds);
    takeMeasuredTime();
    const auto begin = std::chrono::steady_clock::now();
    side.run(rounds);
    const auto whole = std::chrono::steady_clock::now() - begin;
    state.SetIterationTime(
        std::chrono::duration<double>(counting == Counting::parts ? takeMeasuredTime() : whole).count());
  }
}

void registerBenchmarks() {
  for (const auto& pair : allPairs()) {
    for (const int size : pair.sizes) {
      for (const auto& [name, make] : {std::make_pair("work", pair.work), {"floor", pair.floor}}) {
        benchmark::RegisterBenchmark((pair.name + '/' + name).c_str(), &runBenchmark, make, pair.rounds(size),
                                     pair.counting)
            ->Arg(size)
            ->UseManualTime();
      }
    }
  }
}

Options optionsOf(int count, char** arguments) {
  Options options;
  for (int index = 1; index < count; ++index) {
    const std::string name = arguments[index];
    const bool hasValue = name != "--list" && name != "--check" && name != "--time" && name != "--bytes";
    if (hasValue && ++index == count) {
      throw std::invalid_argument(name + " needs a value");
    }
    options[name] = hasValue ? arguments[index] : "";
  }
  return options;
}

bool isForGoogleBenchmark(int count, char** arguments) {
  return count == 1 || std::strncmp(arguments[1], "--benchmark_", std::strlen("--benchmark_")) == 0;
}

int run(int count, char** arguments) {
  if (isForGoogleBenchmark(count, arguments)) {
    registerBenchmarks();
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
  }
  const auto options = optionsOf(count, arguments);
  if (options.count("--list") != 0) {
    list();
    return EXIT_SUCCESS;
  }
  if (options.count("--check") != 0) {
    return check();
  }
  runRounds(options);
}

}  // namespace

}  // namespace spf::benchmarks

int main(int count, char** arguments) {
  try {
    return spf::benchmarks::run(count, arguments);
  } catch (const std::exception& failure) {
    std::cerr << "product_benchmark: " << failure.what() << '\n';
    return EXIT_FAILURE;
  }
}
