#pragma once

#include <utility>

#include <unistd.h>

namespace agent::host::services {

/// Owns at most one open file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor() {
    if (isOpen()) {
      close(number_);
    }
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  bool isOpen() const noexcept { return number_ >= 0; }
  int number() const noexcept { return number_; }

  /// Transfers the ownership of the descriptor to the caller.
  int release() noexcept { return std::exchange(number_, -1); }

 private:
  int number_ = -1;
};

}  // namespace agent::host::services
