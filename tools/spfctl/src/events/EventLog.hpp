#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "events/EventRecorder.hpp"
#include "events/LineListener.hpp"
#include "events/recordedEvent.hpp"

namespace spfctl {

/// The registered part of an EventRecorder: a ring of the newest events, whose texts are made when they are read. Owns
/// everything that handling an event uses, because it may still be inside `handleEvent` when the recorder is destroyed.
/// Any thread may call it.
class EventLog : public agent::spf::frameworklistener::FrameworkListener {
 public:
  using Position = EventRecorder::Position;
  using ListenerID = EventRecorder::ListenerID;

  explicit EventLog(std::size_t capacity);

  /// Adds the event, and calls the listeners. Throws nothing: an event for which there is no memory counts as dropped.
  void handleEvent(std::shared_ptr<const agent::spf::frameworklistener::FrameworkEvent> event) override;

  /// As the recorder documents them.
  void notePublication(RecordedConfiguration configuration);
  Position begin() const;
  Position end() const;
  EventRecorder::Batch read(Position from, std::size_t atMost) const;
  std::string latestConfiguration() const;
  ListenerID addListener(std::function<void()> onNew);
  void removeListener(ListenerID id);

  /// Removes all listeners, and blocks until calls of them on other threads have returned.
  void removeAllListeners();

 private:
  // An event that was dropped has no content.
  struct Entry {
    std::chrono::system_clock::time_point time;
    std::shared_ptr<const RecordedEvent> content;
  };

  // What is read at once.
  struct Selection {
    std::vector<Entry> entries;
    Position first;
    std::uint64_t dropped;
    Entry droppedConfiguration;
  };

  using Listeners = std::map<ListenerID, std::shared_ptr<LineListener>>;

  void add(std::shared_ptr<const RecordedEvent> content, bool isConfiguration);
  void callListeners() noexcept;
  static std::string textOf(const Entry& entry);
  Selection entriesFrom(Position from, std::size_t atMost) const;
  std::shared_ptr<const Listeners> listeners() const;

  // These require `mutex_` to be locked.
  Position oldest() const;
  Entry& at(Position position) { return ring_[position % ring_.size()]; }
  const Entry& at(Position position) const { return ring_[position % ring_.size()]; }

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::vector<Entry> ring_;  // has its memory from the start
  Position end_ = 0;
  Entry latestConfiguration_;
  Position latestConfigurationPosition_ = 0;
  std::shared_ptr<const Listeners> listeners_;  // replaced as a whole, so that calling them needs no memory
  ListenerID lastListener_ = 0;
};

}  // namespace spfctl
