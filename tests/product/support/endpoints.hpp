#pragma once

#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

namespace spf::test {

/// An endpoint of a test's own type. What its `==` and its text do is up to the test, which may put
/// gates, counters and exceptions there.
struct ObservedEndpoint {
  std::string name;
  std::function<void()> onCompare = [] {};
  std::function<void()> onText = [] {};
};

inline bool operator==(const ObservedEndpoint& left, const ObservedEndpoint& right) {
  left.onCompare();
  return left.name == right.name;
}

inline std::ostream& operator<<(std::ostream& stream, const ObservedEndpoint& endpoint) {
  endpoint.onText();
  return stream << endpoint.name;
}

/// An endpoint of a type that cannot be compared.
struct IncomparableEndpoint {};

inline std::ostream& operator<<(std::ostream& stream, const IncomparableEndpoint&) {
  return stream << "incomparable";
}

}  // namespace spf::test
