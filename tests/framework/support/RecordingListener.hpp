#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace frameworktest {

/// Records every event as a line of text:
///
///     bound <publisher>#<count> <endpoint>        stillBound, connected, stillConnected alike
///     published <publisher>#<count>               unpublished alike
///     error <publisher>#<count> <what>
class RecordingListener : public agent::spf::frameworklistener::FrameworkListener {
 public:
  void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event) override;

  /// The function that is called for each recorded event, on the sender's thread.
  std::function<void(const std::string& line)> onEvent;

  /// Waits until a line starts with the text.
  /// \return the line; empty after the time-out of the tests
  std::string waitFor(const std::string& start);

  /// Waits until a line starts with one of the texts.
  /// \return false after the time-out of the tests
  bool waitForEither(const std::string& one, const std::string& other);

  /// Waits until at least this number of lines start with the text.
  /// \return false after the time-out of the tests
  bool waitFor(const std::string& start, std::size_t times);

  std::vector<std::string> lines() const;

  /// Removes all lines.
  void clear();

  /// Returns the lines that start with the text.
  std::vector<std::string> linesWith(const std::string& start) const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::vector<std::string> lines_;
};

}  // namespace frameworktest
