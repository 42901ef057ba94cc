#pragma once

#include <gtest/gtest.h>

namespace spf::test {

/// Aborts the process with the name of the running test if that test takes too long, so that a hanging test produces a
/// message and a core file, not only a time-out.
class Watchdog : public testing::EmptyTestEventListener {
 public:
  /// Constructs a watchdog.
  /// \param seconds  the time limit of one test
  explicit Watchdog(unsigned int seconds) : seconds_(seconds) {}

  void OnTestStart(const testing::TestInfo& test) override;
  void OnTestEnd(const testing::TestInfo& test) override;

 private:
  const unsigned int seconds_;
};

}  // namespace spf::test
