#include <string>
#include <vector>

#include <cppmicroservices/LDAPFilter.h>

#include "Maps.hpp"
#include "Rows.hpp"
#include "RunningFramework.hpp"

namespace spf::benchmarks {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

namespace {

const std::string twoTerms = "(&(property.number.7=7)(property.number.8=val*))";
const std::string eightTerms =
    "(&(|(property.number.0=a)(property.number.2=*lue))(!(property.number.4=b))(property.number.5>=5)"
    "(property.number.6~=VALUE)(property.number.7<=7)(property.number.8=*)(property.number.10=v*l*e))";
const std::string wildcards = "(property.number.0=*a*b*c*d*e*)";

void ParseFilter(benchmark::State& state) {
  for (auto _ : state) {
    LDAPFilter filter(twoTerms);
    benchmark::DoNotOptimize(filter);
  }
}

void ParseLongFilter(benchmark::State& state) {
  for (auto _ : state) {
    LDAPFilter filter(eightTerms);
    benchmark::DoNotOptimize(filter);
  }
}

void FilterToString(benchmark::State& state) {
  const LDAPFilter filter(eightTerms);
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.ToString());
  }
}

void match(benchmark::State& state, const std::string& text) {
  const auto map = mapOf(state);
  const LDAPFilter filter(text);
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.Match(map));
  }
}

void MatchFilter(benchmark::State& state) {
  match(state, twoTerms);
}

void MatchLongFilter(benchmark::State& state) {
  match(state, eightTerms);
}

void MatchFilterCase(benchmark::State& state) {
  const auto map = mapOf(state);
  const LDAPFilter filter(twoTerms);
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.MatchCase(map));
  }
}

void MatchWildcards(benchmark::State& state) {
  AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  map["property.number.0"] = std::string("xxaxxbxxcxxdxxexx");
  const LDAPFilter filter(wildcards);
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.Match(map));
  }
}

void MatchList(benchmark::State& state) {
  AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  map["list"] = std::vector<std::string>{"first", "second", "third", "fourth"};
  const LDAPFilter filter("(list=fourth)");
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.Match(map));
  }
}

void MatchService(benchmark::State& state) {
  RunningFramework framework;
  framework.registerStations(1);
  const auto reference = framework.context().GetServiceReference<Station>();
  const LDAPFilter filter("(&(index=0)(service.scope=singleton))");
  for (auto _ : state) {
    benchmark::DoNotOptimize(filter.Match(reference));
  }
}

}  // namespace

void addFilterRows(Rows& rows) {
  rows.add("ParseFilter", ParseFilter);
  rows.add("ParseLongFilter", ParseLongFilter);
  rows.add("FilterToString", FilterToString);
  rows.add("MatchFilter", MatchFilter, kindsOfMap);
  rows.add("MatchLongFilter", MatchLongFilter, kindsOfMap);
  rows.add("MatchFilterCase", MatchFilterCase, kindsOfMap);
  rows.add("MatchWildcards", MatchWildcards);
  rows.add("MatchList", MatchList);
  rows.add("MatchService", MatchService);
}

}  // namespace spf::benchmarks
