#pragma once

#include <functional>
#include <string>

#include <benchmark/benchmark.h>

namespace spf::benchmarks {

/// Registers rows with Google Benchmark.
class Rows {
 public:
  using Configure = std::function<void(benchmark::internal::Benchmark*)>;

  /// Makes rows that run as often as Google Benchmark thinks fit, to measure time.
  Rows() = default;
  /// Makes rows that run exactly that often, to count instructions.
  explicit Rows(int rounds) : rounds_(rounds) {}

  /// Adds a row.
  /// \param configure  sets its arguments
  void add(const std::string& name, void (*function)(benchmark::State&), const Configure& configure = {}) {
    auto* const row = benchmark::RegisterBenchmark(name.c_str(), function);
    if (configure) {
      configure(row);
    }
    if (rounds_ != 0) {
      row->Iterations(rounds_);
    }
  }

  /// Adds a row that excludes parts of its rounds from the measurement, or waits busily. It measures time only: both
  /// would be counted.
  void addForTime(const std::string& name, void (*function)(benchmark::State&), const Configure& configure = {}) {
    if (rounds_ == 0) {
      add(name, function, configure);
    }
  }

 private:
  int rounds_ = 0;
};

void addAnyRows(Rows& rows);
void addMapRows(Rows& rows);
void addFilterRows(Rows& rows);
void addServiceRows(Rows& rows);
void addFrameworkRows(Rows& rows);
void addConfigurationAdminRows(Rows& rows);

}  // namespace spf::benchmarks
