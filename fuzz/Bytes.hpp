#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace spf::fuzz {

/// Reads an input from its beginning. Behind its end there are zeros and empty texts.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }

  std::uint8_t next() {
    if (empty()) {
      return 0;
    }
    --size_;
    return *data_++;
  }

  /// Returns so many bytes, or those that are left.
  std::string text(std::size_t length) {
    length = std::min(length, size_);
    std::string result(reinterpret_cast<const char*>(data_), length);
    data_ += length;
    size_ -= length;
    return result;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace spf::fuzz
