#include "Backoff.hpp"

#include <algorithm>

namespace agent::spf::etcd {

Backoff::Backoff(Duration first, Duration cap, unsigned seed)
    : first_(std::min(first, cap)), cap_(cap), step_(first_), random_(seed) {}

Backoff::Duration Backoff::next() {
  const auto longest = step_.count();
  step_ = std::min(step_ * 2, cap_);
  return Duration(std::uniform_int_distribution<Duration::rep>(longest / 2, longest)(random_));
}

}  // namespace agent::spf::etcd
