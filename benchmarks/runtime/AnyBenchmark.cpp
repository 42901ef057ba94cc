#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include "Rows.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;

namespace {

enum Kind { number, shortText, longText, list, map };

const std::string shortValue = "celsius";
const std::string longValue = "tcp://station.north.example.org:5555/temperature";

Any valueOf(const benchmark::State& state) {
  switch (state.range(0)) {
    case number:
      return 7;
    case shortText:
      return shortValue;
    case longText:
      return longValue;
    case list:
      return std::vector<Any>(10, Any(longValue));
    default: {
      AnyMap result(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
      for (int entry = 0; entry < 10; ++entry) {
        result["property.number." + std::to_string(entry)] = longValue;
      }
      return result;
    }
  }
}

void MakeAnyOfNumber(benchmark::State& state) {
  const int value = 7;
  for (auto _ : state) {
    Any any(value);
    benchmark::DoNotOptimize(any);
  }
}

void MakeAnyOfText(benchmark::State& state) {
  for (auto _ : state) {
    Any any(longValue);
    benchmark::DoNotOptimize(any);
  }
}

void AssignNumberToAny(benchmark::State& state) {
  Any any;
  int value = 7;
  for (auto _ : state) {
    any = value;
    benchmark::DoNotOptimize(any);
  }
}

void CopyAny(benchmark::State& state) {
  const Any any = valueOf(state);
  for (auto _ : state) {
    Any copy(any);
    benchmark::DoNotOptimize(copy);
  }
}

void CopyAssignAny(benchmark::State& state) {
  const Any any = valueOf(state);
  Any copy;
  for (auto _ : state) {
    copy = any;
    benchmark::DoNotOptimize(copy);
  }
}

// Moves a value there and back: one construction, one assignment, and the destruction of an empty Any.
void MoveAny(benchmark::State& state) {
  Any from = valueOf(state);
  for (auto _ : state) {
    Any to(std::move(from));
    benchmark::DoNotOptimize(to);
    from = std::move(to);
    benchmark::DoNotOptimize(from);
  }
}

void SwapAny(benchmark::State& state) {
  Any left = valueOf(state);
  Any right = valueOf(state);
  for (auto _ : state) {
    std::swap(left, right);
    benchmark::DoNotOptimize(left);
    benchmark::DoNotOptimize(right);
  }
}

// Erases the first of a thousand, and puts it in again at the end.
void EraseFromVectorOfAny(benchmark::State& state) {
  std::vector<Any> values(1000, valueOf(state));
  for (auto _ : state) {
    Any first = std::move(values.front());
    values.erase(values.begin());
    values.push_back(std::move(first));
    benchmark::ClobberMemory();
  }
}

// Removes every second of a thousand.
void RemoveFromVectorOfAny(benchmark::State& state) {
  std::vector<Any> values;
  const Any kept(3);
  const Any removed(4);
  for (auto _ : state) {
    values.clear();
    for (int pair = 0; pair < 500; ++pair) {
      values.push_back(kept);
      values.push_back(removed);
    }
    values.erase(std::remove_if(values.begin(), values.end(), [](const Any& any) { return any == 4; }), values.end());
    benchmark::ClobberMemory();
  }
}

// Makes a vector grow from nothing to a thousand, which moves them about as often again.
void GrowVectorOfAny(benchmark::State& state) {
  const Any any = valueOf(state);
  for (auto _ : state) {
    std::vector<Any> values;
    for (int index = 0; index < 1000; ++index) {
      values.push_back(any);
    }
    benchmark::ClobberMemory();
  }
}

void CompareAny(benchmark::State& state) {
  const Any left = valueOf(state);
  const Any right = left;
  for (auto _ : state) {
    benchmark::DoNotOptimize(left == right);
  }
}

void CompareAnyWithText(benchmark::State& state) {
  const Any any(longValue);
  const std::string text = longValue;
  for (auto _ : state) {
    benchmark::DoNotOptimize(any == text);
  }
}

void CompareAnyWithAnotherType(benchmark::State& state) {
  const Any any(longValue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any == 7);
  }
}

void CastAny(benchmark::State& state) {
  Any any(longValue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any);
    benchmark::DoNotOptimize(any_cast<std::string>(&any));
  }
}

void CastAnyToReference(benchmark::State& state) {
  Any any(longValue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any);
    benchmark::DoNotOptimize(&ref_any_cast<std::string>(any));
  }
}

void CastAnyToNumber(benchmark::State& state) {
  const Any any(7);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any_cast<int>(any));
  }
}

void CastAnyToText(benchmark::State& state) {
  const Any any(longValue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any_cast<std::string>(any));
  }
}

void CastAnyToAnotherType(benchmark::State& state) {
  Any any(longValue);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any);
    benchmark::DoNotOptimize(any_cast<int>(&any));
  }
}

void CastAnyInVain(benchmark::State& state) {
  const Any any(longValue);
  for (auto _ : state) {
    try {
      benchmark::DoNotOptimize(any_cast<int>(any));
    } catch (const cppmicroservices::BadAnyCastException& failure) {
      benchmark::DoNotOptimize(failure);
    }
  }
}

void AnyToString(benchmark::State& state) {
  const Any any = valueOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any.ToString());
  }
}

void AnyToJSON(benchmark::State& state) {
  const Any any = valueOf(state);
  for (auto _ : state) {
    benchmark::DoNotOptimize(any.ToJSON());
  }
}

void kindsOfValue(benchmark::internal::Benchmark* row) {
  row->DenseRange(number, map);
}

void numberAndText(benchmark::internal::Benchmark* row) {
  row->Arg(number)->Arg(longText);
}

}  // namespace

void addAnyRows(Rows& rows) {
  rows.add("MakeAnyOfNumber", MakeAnyOfNumber);
  rows.add("MakeAnyOfText", MakeAnyOfText);
  rows.add("AssignNumberToAny", AssignNumberToAny);
  rows.add("CopyAny", CopyAny, kindsOfValue);
  rows.add("CopyAssignAny", CopyAssignAny, numberAndText);
  rows.add("MoveAny", MoveAny, kindsOfValue);
  rows.add("SwapAny", SwapAny, numberAndText);
  rows.add("EraseFromVectorOfAny", EraseFromVectorOfAny, numberAndText);
  rows.add("RemoveFromVectorOfAny", RemoveFromVectorOfAny);
  rows.add("GrowVectorOfAny", GrowVectorOfAny, numberAndText);
  rows.add("CompareAny", CompareAny, kindsOfValue);
  rows.add("CompareAnyWithText", CompareAnyWithText);
  rows.add("CompareAnyWithAnotherType", CompareAnyWithAnotherType);
  rows.add("CastAny", CastAny);
  rows.add("CastAnyToReference", CastAnyToReference);
  rows.add("CastAnyToNumber", CastAnyToNumber);
  rows.add("CastAnyToText", CastAnyToText);
  rows.add("CastAnyToAnotherType", CastAnyToAnotherType);
  rows.add("CastAnyInVain", CastAnyInVain);
  rows.add("AnyToString", AnyToString, kindsOfValue);
  rows.add("AnyToJSON", AnyToJSON, kindsOfValue);
}

}  // namespace spf::benchmarks
