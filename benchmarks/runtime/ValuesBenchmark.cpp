#include <string>

#include <benchmark/benchmark.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

namespace {

const std::string key = "property.number.7";
const std::string twoTerms = "(&(property.number.7=7)(property.number.8=val*))";

// Returns a map of twenty entries, alternately numbers and texts.
AnyMap mapOf(const benchmark::State& state) {
  AnyMap map(static_cast<AnyMap::map_type>(state.range(0)));
  for (int entry = 0; entry < 20; ++entry) {
    map["property.number." + std::to_string(entry)] = entry % 2 == 0 ? Any(std::string("value")) : Any(entry);
  }
  return map;
}

void CopyMap(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    AnyMap copy(map);
    benchmark::DoNotOptimize(copy);
  }
}

void MapAt(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.at(key).Empty());
  }
}

void MapFind(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(key) != map.end());
  }
}

void MatchFilter(benchmark::State& state) {
  const auto map = mapOf(state);
  const LDAPFilter filter(twoTerms);
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.Match(map));
  }
}

void ParseFilter(benchmark::State& state) {
  for (auto _ : state) {
    LDAPFilter filter(twoTerms);
    benchmark::DoNotOptimize(filter);
  }
}

// Ordered, unordered, and unordered with keys that ignore case.
void kindsOfMap(benchmark::internal::Benchmark* benchmark) {
  benchmark->DenseRange(0, 2);
}

}  // namespace

BENCHMARK(CopyMap)->Apply(kindsOfMap);
BENCHMARK(MapAt)->Apply(kindsOfMap);
BENCHMARK(MapFind)->Apply(kindsOfMap);
BENCHMARK(MatchFilter)->Apply(kindsOfMap);
BENCHMARK(ParseFilter);

}  // namespace spf::benchmarks
