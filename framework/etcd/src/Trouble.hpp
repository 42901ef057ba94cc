#pragma once

#include <cstddef>
#include <string>

namespace agent::spf::etcd {

/// Why something fails. While one member after the other is tried, the text stays that of the member that failed first,
/// so that it does not change with every attempt.
class Trouble {
 public:
  void report(std::size_t member, const std::string& text) {
    if (text_.empty() || member == member_) {
      text_ = text;
      member_ = member;
    }
  }

  void clear() noexcept { text_.clear(); }

  const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;
  std::size_t member_ = 0;
};

}  // namespace agent::spf::etcd
