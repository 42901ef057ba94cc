#pragma once

namespace spf::zeromq {

/// Wakes a thread that polls a file descriptor. Any thread may wake; one thread polls.
class Waker {
 public:
  /// \throws std::system_error when the system has no descriptor left
  Waker();
  ~Waker();

  Waker(const Waker&) = delete;
  Waker& operator=(const Waker&) = delete;

  /// Readable from a `wake` until the next `clear`.
  int descriptor() const noexcept { return descriptor_; }

  void wake() noexcept;
  void clear() noexcept;

 private:
  const int descriptor_;
};

}  // namespace spf::zeromq
