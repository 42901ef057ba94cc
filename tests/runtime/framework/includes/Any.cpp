#include <cppmicroservices/Any.h>

// Nothing else is included: that header has to include all that this file uses.
std::string textThroughAny() {
  std::stringstream stream;
  stream << std::setw(3) << 7;
  std::vector<int> numbers{2, 1};
  std::sort(numbers.begin(), numbers.end());
  const std::array<std::function<int()>, 1> functions{[&] { return numbers.front(); }};
  const auto owner = std::make_shared<std::map<int, std::set<int>>>();
  stream << functions[0]() << owner->size() << std::list<int>().size();
  return stream.str();
}
