#include "Choices.hpp"

#include <algorithm>

namespace spf::test::schedules {

namespace {

constexpr std::uint64_t decisionsAtOneSpeed = 20;

// From 1 to 32.
std::uint64_t speedOf(std::uint64_t priority) {
  return std::uint64_t{1} << (priority % 6);
}

}  // namespace

Choices::Choices(std::uint64_t seed)
    : state_(seed * 0x9e3779b97f4a7c15ULL), kind_(static_cast<Kind>(seed % 3)), quietQuarters_(below(4)) {
  const auto span = decisionsWithChanges >> below(4);
  for (auto changes = 1 + below(mostChanges); changes > 0; --changes) {
    changePoints_.push_back(below(span));
  }
}

// SplitMix64, since the distributions of the standard library differ from one to the next.
std::uint64_t Choices::below(std::uint64_t limit) {
  state_ += 0x9e3779b97f4a7c15ULL;
  auto mixed = state_;
  mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9ULL;
  mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebULL;
  return (mixed ^ (mixed >> 31U)) % limit;
}

std::size_t Choices::choose(const std::vector<std::uint64_t*>& priorities, std::uint64_t& last) {
  if (priorities.size() == 1) {
    return 0;
  }
  const auto decision = decisions_++;
  if (kind_ == Kind::priorities) {
    const auto change = std::find(changePoints_.begin(), changePoints_.end(), decision);
    if (change != changePoints_.end()) {
      last = static_cast<std::uint64_t>(change - changePoints_.begin());
    }
    const auto highest = std::max_element(priorities.begin(), priorities.end(),
                                          [](const auto* left, const auto* right) { return *left < *right; });
    return static_cast<std::size_t>(highest - priorities.begin());
  }
  if (below(decisionsAtOneSpeed) == 0) {
    last = newPriority();
  }
  const auto same = std::find(priorities.begin(), priorities.end(), &last);
  if (kind_ == Kind::fewSwitches && same != priorities.end() && below(4) != 0) {
    return static_cast<std::size_t>(same - priorities.begin());
  }
  return atRandomSpeed(priorities);
}

std::size_t Choices::atRandomSpeed(const std::vector<std::uint64_t*>& priorities) {
  std::uint64_t sum = 0;
  for (const auto* const priority : priorities) {
    sum += speedOf(*priority);
  }
  auto drawn = below(sum);
  std::size_t chosen = 0;
  while (drawn >= speedOf(*priorities[chosen])) {
    drawn -= speedOf(*priorities[chosen]);
    ++chosen;
  }
  return chosen;
}

}  // namespace spf::test::schedules
