// Measures the runtime.
//
//   runtime_benchmark [--benchmark_...]              Google Benchmark's table of times
//   runtime_benchmark --rounds N [--benchmark_...]   the rows whose instructions can be counted, that many rounds each
#include <cstdlib>
#include <cstring>
#include <iostream>

#include "Rows.hpp"

int main(int count, char** arguments) {
  using namespace spf::benchmarks;
  int rounds = 0;
  if (count > 1 && std::strcmp(arguments[1], "--rounds") == 0) {
    rounds = count > 2 ? std::atoi(arguments[2]) : 0;
    if (rounds < 1) {
      std::cerr << "runtime_benchmark: --rounds needs a number above 0\n";
      return EXIT_FAILURE;
    }
    arguments[2] = arguments[0];
    arguments += 2;
    count -= 2;
  }

  Rows rows = rounds == 0 ? Rows() : Rows(rounds);
  addAnyRows(rows);
  addMapRows(rows);
  addFilterRows(rows);
  addServiceRows(rows);
  addFrameworkRows(rows);
  addConfigurationAdminRows(rows);

  benchmark::Initialize(&count, arguments);
  benchmark::RunSpecifiedBenchmarks();
  return EXIT_SUCCESS;
}
