#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace frameworktest {

/// Writes every event down as a line of text:
///
///     bound <publisher>#<count> <endpoint>        stillBound, connected, stillConnected alike
///     published <publisher>#<count>               unpublished alike
///     error <publisher>#<count> <what>
class RecordingListener : public agent::spf::frameworklistener::FrameworkListener {
 public:
  void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event) override;

  /// What else to do for each event, on the sender's thread.
  std::function<void(const std::string& line)> onEvent;

  /// Waits until a line starts with the text.
  /// \return the line; empty when it did not come for as long as the tests' patience lasts
  std::string waitFor(const std::string& start);

  /// Waits until a line starts with one of the texts.
  bool waitForEither(const std::string& one, const std::string& other);

  /// Waits until so many lines start with the text.
  bool waitFor(const std::string& start, std::size_t times);

  std::vector<std::string> lines() const;

  /// Forgets what came so far.
  void clear();

  /// The lines so far that start with the text.
  std::vector<std::string> linesWith(const std::string& start) const;

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::vector<std::string> lines_;
};

}  // namespace frameworktest
