#include "file/nearestName.hpp"

#include <algorithm>
#include <cctype>

namespace spfctl {

namespace {

// Longer texts are no slips of the fingers, and comparing them would take long.
constexpr std::size_t longestText = 100;

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char byte) { return std::tolower(byte); });
  return text;
}

// The number of edits that turn one text into the other (optimal string alignment).
std::size_t editDistance(const std::string& left, const std::string& right) {
  std::vector<std::size_t> beforeLast;
  std::vector<std::size_t> last(right.size() + 1);
  for (std::size_t column = 0; column <= right.size(); ++column) {
    last[column] = column;
  }
  for (std::size_t row = 1; row <= left.size(); ++row) {
    std::vector<std::size_t> current(right.size() + 1, row);
    for (std::size_t column = 1; column <= right.size(); ++column) {
      const bool same = left[row - 1] == right[column - 1];
      current[column] = std::min({last[column] + 1, current[column - 1] + 1, last[column - 1] + (same ? 0U : 1U)});
      if (row > 1 && column > 1 && left[row - 1] == right[column - 2] && left[row - 2] == right[column - 1]) {
        current[column] = std::min(current[column], beforeLast[column - 2] + 1);
      }
    }
    beforeLast = std::move(last);
    last = std::move(current);
  }
  return last.back();
}

}  // namespace

std::string nearestName(const std::string& text, const std::vector<std::string>& names) {
  if (text.size() > longestText) {
    return {};
  }
  const auto wanted = lowered(text);
  std::string nearest;
  auto limit = std::max<std::size_t>(1, text.size() / 3) + 1;
  for (const auto& name : names) {
    const auto distance = editDistance(wanted, lowered(name));
    if (distance < limit) {
      limit = distance;
      nearest = name;
    }
  }
  return nearest;
}

}  // namespace spfctl
