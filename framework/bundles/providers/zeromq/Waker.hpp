#pragma once

namespace spf::zeromq {

/// Wakes a thread that polls a file descriptor. Any thread may call `wake`; one thread polls.
class Waker {
 public:
  /// Creates the descriptor.
  /// \throws std::system_error if the system has no descriptor left
  Waker();
  ~Waker();

  Waker(const Waker&) = delete;
  Waker& operator=(const Waker&) = delete;

  /// Returns the descriptor, which is readable from a `wake` until the next `clear`.
  int descriptor() const noexcept { return descriptor_; }

  void wake() noexcept;
  void clear() noexcept;

 private:
  const int descriptor_;
};

}  // namespace spf::zeromq
