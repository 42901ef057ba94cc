#pragma once

#include <utility>

#include <unistd.h>

namespace agent::spf::security {

/// Owns an open file descriptor, or none.
class Descriptor {
 public:
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor() {
    if (isOpen()) {
      close(number_);
    }
  }
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&&) = delete;

  bool isOpen() const noexcept { return number_ >= 0; }
  int number() const noexcept { return number_; }

  /// Transfers the ownership of the descriptor to the caller.
  int release() noexcept { return std::exchange(number_, -1); }

 private:
  int number_;
};

}  // namespace agent::spf::security
