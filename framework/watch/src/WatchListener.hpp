#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "PublisherState.hpp"
#include "StoppableCallback.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworkwatch/WatchResult.hpp"

namespace agent::spf::frameworkwatch {

/// The registered part of a PublisherWatch: records the events, and waits for them. Owns everything that handling an
/// event uses, because it may still be inside `handleEvent` when the watch is destroyed.
class WatchListener : public frameworklistener::FrameworkListener {
 public:
  WatchListener(const std::vector<std::string>& publisherIDs, std::uint32_t revision, std::function<void()> onChange);

  /// Ignores events about other publishers, and unknown kinds and changes.
  void handleEvent(std::shared_ptr<const frameworklistener::FrameworkEvent> event) override;

  /// As the watch documents them.
  void expectRevision(std::uint32_t revision);
  WatchResult waitUntilAllPublished(std::chrono::milliseconds timeout);
  WatchResult waitUntilAllUnpublished(std::chrono::milliseconds timeout, std::chrono::milliseconds silenceLimit);

  /// Lets no further call of `onChange` begin, and blocks until those on other threads have returned.
  void stopCallback() { onChange_.stop(); }

 private:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Applies a change to the state of a publisher, if it is followed, and notifies the waiting threads.
  template <class Change>
  void note(const std::string& publisherID, const Change& change);

  // These require `mutex_` to be locked.
  bool isAnyPresent() const;
  bool isAnySilent() const;
  bool areAllPublished() const;
  bool hasAnyFailed() const;
  WatchResult publishedResult() const;
  WatchResult unpublishedResult(TimePoint silenceEnds) const;
  std::vector<FailedPublisher> failures() const;
  template <class Predicate>
  bool any(Predicate predicate) const;

  // Synchronised by itself:
  StoppableCallback onChange_;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::map<std::string, PublisherState> publishers_;
  std::uint32_t expected_;
  std::optional<TimePoint> withdrawn_;  // start of the limit of silence
};

}  // namespace agent::spf::frameworkwatch
