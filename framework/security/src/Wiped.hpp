#pragma once

#include <cstring>

namespace agent::spf::security {

/// A buffer that a secret passes through, which is overwritten at its end. `Array` is a std::array.
template <class Array>
class Wiped {
 public:
  Wiped() = default;
  ~Wiped() { explicit_bzero(array_.data(), array_.size()); }
  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;

  Array& operator*() noexcept { return array_; }
  Array* operator->() noexcept { return &array_; }

 private:
  Array array_{};
};

}  // namespace agent::spf::security
