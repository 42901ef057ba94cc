#pragma once

#include <string>

#include <benchmark/benchmark.h>
#include <cppmicroservices/AnyMap.h>

namespace spf::benchmarks {

/// Adds twenty entries, alternately texts and numbers.
inline void fill(cppmicroservices::AnyMap& map) {
  for (int entry = 0; entry < 20; ++entry) {
    map["property.number." + std::to_string(entry)] =
        entry % 2 == 0 ? cppmicroservices::Any(std::string("value")) : cppmicroservices::Any(entry);
  }
}

/// Returns a map with these entries, of the type that is the row's argument.
inline cppmicroservices::AnyMap mapOf(const benchmark::State& state) {
  cppmicroservices::AnyMap map(static_cast<cppmicroservices::AnyMap::map_type>(state.range(0)));
  fill(map);
  return map;
}

/// Gives a row the three types of maps: ordered, unordered, and unordered with keys that ignore case.
inline void kindsOfMap(benchmark::internal::Benchmark* row) {
  row->DenseRange(0, 2);
}

}  // namespace spf::benchmarks
