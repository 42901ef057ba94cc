#include "Choices.hpp"

#include <algorithm>

namespace spf::test::schedules {

Choices::Choices(std::uint64_t seed) : state_(seed * 0x9e3779b97f4a7c15ULL), kind_(static_cast<Kind>(seed % 3)) {
  const auto span = decisionsWithChanges >> below(4);
  for (auto& point : changePoints_) {
    point = below(span);
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

std::size_t Choices::choose(const std::vector<std::uint64_t*>& priorities, std::size_t last) {
  const auto decision = decisions_++;
  if (kind_ == Kind::priorities) {
    const auto* const change = std::find(changePoints_, changePoints_ + changes, decision);
    if (change != changePoints_ + changes && last < priorities.size()) {
      *priorities[last] = static_cast<std::uint64_t>(change - changePoints_);
    }
    const auto highest = std::max_element(priorities.begin(), priorities.end(),
                                          [](const auto* left, const auto* right) { return *left < *right; });
    return static_cast<std::size_t>(highest - priorities.begin());
  }
  if (kind_ == Kind::fewSwitches && last < priorities.size() && below(4) != 0) {
    return last;
  }
  return below(priorities.size());
}

}  // namespace spf::test::schedules
