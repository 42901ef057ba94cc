#pragma once

#include <gtest/gtest.h>

namespace spf::test {

/// Aborts the process with the name of the running test when that test takes too long, so that a
/// hang is a failure with a name and a core, not a silent time-out.
class Watchdog : public testing::EmptyTestEventListener {
 public:
  /// \param seconds  how long one test may take
  explicit Watchdog(unsigned int seconds) : seconds_(seconds) {}

  void OnTestStart(const testing::TestInfo& test) override;
  void OnTestEnd(const testing::TestInfo& test) override;

 private:
  const unsigned int seconds_;
};

}  // namespace spf::test
