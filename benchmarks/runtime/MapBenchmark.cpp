#include <string>
#include <utility>
#include <vector>

#include "Maps.hpp"
#include "Rows.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

const std::string key = "property.number.7";
const std::string otherKey = "property.number.seven";

AnyMap::map_type typeOf(const benchmark::State& state) {
  return static_cast<AnyMap::map_type>(state.range(0));
}

const std::vector<std::string>& keys() {
  static const std::vector<std::string> result = [] {
    std::vector<std::string> made;
    for (int entry = 0; entry < 20; ++entry) {
      made.push_back("property.number." + std::to_string(entry));
    }
    return made;
  }();
  return result;
}

void CopyMap(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    AnyMap copy(map);
    benchmark::DoNotOptimize(copy);
  }
}

// Moves the entries there and back.
void MoveMap(benchmark::State& state) {
  auto from = mapOf(state);
  for (auto _ : state) {
    AnyMap to(std::move(from));
    benchmark::DoNotOptimize(to);
    from = std::move(to);
    benchmark::DoNotOptimize(from);
  }
}

// Makes a map and moves it to where it stays.
void MakeAndMoveMap(benchmark::State& state) {
  for (auto _ : state) {
    AnyMap map(typeOf(state));
    AnyMap there(std::move(map));
    benchmark::DoNotOptimize(there);
  }
}

void MakeEmptyMap(benchmark::State& state) {
  for (auto _ : state) {
    AnyMap map(typeOf(state));
    benchmark::DoNotOptimize(map);
  }
}

void MakeMapOfList(benchmark::State& state) {
  const Any value(7);
  for (auto _ : state) {
    AnyMap map(typeOf(state), {{"site", value}, {"unit", value}, {"floor", value}, {"indoors", value}});
    benchmark::DoNotOptimize(map);
  }
}

void FillMapByIndex(benchmark::State& state) {
  const Any value(7);
  for (auto _ : state) {
    AnyMap map(typeOf(state));
    for (const auto& name : keys()) {
      map[name] = value;
    }
    benchmark::DoNotOptimize(map);
  }
}

void FillMapByInsert(benchmark::State& state) {
  const Any value(7);
  for (auto _ : state) {
    AnyMap map(typeOf(state));
    for (const auto& name : keys()) {
      map.insert({name, value});
    }
    benchmark::DoNotOptimize(map);
  }
}

void FillMapByEmplace(benchmark::State& state) {
  for (auto _ : state) {
    AnyMap map(typeOf(state));
    for (const auto& name : keys()) {
      map.emplace(name, 7);
    }
    benchmark::DoNotOptimize(map);
  }
}

void MapAt(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.at(key).Empty());
  }
}

void MapIndex(benchmark::State& state) {
  auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map[key].Empty());
  }
}

void MapCount(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.count(key));
  }
}

void MapFind(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(key) != map.end());
  }
}

void MapFindInVain(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(otherKey) != map.end());
  }
}

void MapAtCompoundKey(benchmark::State& state) {
  AnyMap inner(typeOf(state));
  inner["list"] = std::vector<Any>{Any(1), Any(2)};
  AnyMap map(typeOf(state));
  map["inner"] = inner;
  const std::string compoundKey = "inner.list.1";
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.AtCompoundKey(compoundKey).Empty());
  }
}

void IterateMap(benchmark::State& state) {
  const auto map = mapOf(state);
  for (auto _ : state) {
    int filled = 0;
    for (const auto& entry : map) {
      filled += entry.second.Empty() ? 0 : 1;
    }
    benchmark::DoNotOptimize(filled);
  }
}

// Erases an entry and adds it again.
void EraseFromMap(benchmark::State& state) {
  auto map = mapOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.erase(key));
    map[key] = 7;
  }
}

void CompareMaps(benchmark::State& state) {
  const auto left = mapOf(state);
  const auto right = left;
  for (auto _ : state) {
    benchmark::DoNotOptimize(left == right);
  }
}

}  // namespace

void addMapRows(Rows& rows) {
  rows.add("MakeEmptyMap", MakeEmptyMap, kindsOfMap);
  rows.add("MakeMapOfList", MakeMapOfList, kindsOfMap);
  rows.add("CopyMap", CopyMap, kindsOfMap);
  rows.add("MoveMap", MoveMap, kindsOfMap);
  rows.add("MakeAndMoveMap", MakeAndMoveMap, kindsOfMap);
  rows.add("FillMapByIndex", FillMapByIndex, kindsOfMap);
  rows.add("FillMapByInsert", FillMapByInsert, kindsOfMap);
  rows.add("FillMapByEmplace", FillMapByEmplace, kindsOfMap);
  rows.add("MapAt", MapAt, kindsOfMap);
  rows.add("MapIndex", MapIndex, kindsOfMap);
  rows.add("MapCount", MapCount, kindsOfMap);
  rows.add("MapFind", MapFind, kindsOfMap);
  rows.add("MapFindInVain", MapFindInVain, kindsOfMap);
  rows.add("MapAtCompoundKey", MapAtCompoundKey, kindsOfMap);
  rows.add("IterateMap", IterateMap, kindsOfMap);
  rows.add("EraseFromMap", EraseFromMap, kindsOfMap);
  rows.add("CompareMaps", CompareMaps, kindsOfMap);
}

}  // namespace spf::benchmarks
