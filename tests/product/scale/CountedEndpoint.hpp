#pragma once

#include <ostream>

namespace spf::test {

/// An endpoint whose comparisons and copies are counted, all over the process. For one thread.
struct CountedEndpoint {
  explicit CountedEndpoint(int endpointNumber) : number(endpointNumber) {}
  CountedEndpoint(const CountedEndpoint& other) : number(other.number) { ++copies; }
  CountedEndpoint& operator=(const CountedEndpoint&) = delete;

  int number;

  static inline int comparisons = 0;
  static inline int copies = 0;
};

inline bool operator==(const CountedEndpoint& left, const CountedEndpoint& right) {
  ++CountedEndpoint::comparisons;
  return left.number == right.number;
}

inline std::ostream& operator<<(std::ostream& stream, const CountedEndpoint& endpoint) {
  return stream << endpoint.number;
}

}  // namespace spf::test
