#include "Members.hpp"

#include <utility>

namespace agent::spf::etcd {

Members::Members(std::vector<std::string> urls, std::size_t first)
    : urls_(std::move(urls)), current_(first % urls_.size()) {}

void Members::reportFailure(std::size_t member) noexcept {
  if (member == current_) {
    current_ = (current_ + 1) % urls_.size();
  }
}

}  // namespace agent::spf::etcd
