#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace agent::spf::etcd {

/// The members of the cluster and the one that new requests are sent to. Used by one thread.
class Members {
 public:
  /// \param first  chooses the first member, modulo their number
  Members(std::vector<std::string> urls, std::size_t first);

  std::size_t current() const noexcept { return current_; }
  std::size_t count() const noexcept { return urls_.size(); }
  const std::string& url(std::size_t member) const { return urls_[member]; }

  /// Moves on to the next member, unless another request's failure has already done so.
  void reportFailure(std::size_t member) noexcept;

 private:
  const std::vector<std::string> urls_;
  std::size_t current_;
};

}  // namespace agent::spf::etcd
