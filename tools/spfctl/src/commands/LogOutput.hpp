#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace spfctl {

/// Writes the log records of these levels to standard error from now on, one line each; with priorities if it is the
/// journal. Records of other code that have no such level are written if any level is given.
void showLogRecords(std::uint32_t levels);

/// Holds the lines of log records back while it lives, so that they do not disturb what is drawn on a terminal. One at
/// a time; any thread may write records meanwhile.
class HeldLogRecords {
 public:
  /// \param onRecord  called after each record on the thread that writes it, which may hold locks; returns at once
  explicit HeldLogRecords(std::function<void()> onRecord);

  /// Writes the lines that are left to standard error.
  ~HeldLogRecords();

  HeldLogRecords(const HeldLogRecords&) = delete;
  HeldLogRecords& operator=(const HeldLogRecords&) = delete;

  /// Returns the lines since the last call, without ends of lines: the latest 10,000, and first how many were dropped.
  std::vector<std::string> take();
};

}  // namespace spfctl
