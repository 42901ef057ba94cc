#include "events/EventLog.hpp"

#include <algorithm>
#include <utility>

namespace spfctl {

using agent::spf::frameworklistener::FrameworkEvent;
using std::chrono::system_clock;

std::string EventLog::textOf(const Entry& entry) {
  return entry.content ? lineOf(*entry.content, entry.time) : std::string();
}

EventLog::EventLog(std::size_t capacity)
    : ring_(std::max<std::size_t>(capacity, 1)), listeners_(std::make_shared<const Listeners>()) {}

void EventLog::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  std::shared_ptr<const RecordedEvent> content;
  try {
    content = std::make_shared<const RecordedEvent>(recorded(*event));
  } catch (...) {
    // No memory. Without its content, the event counts as dropped.
  }
  const bool isConfiguration = false;
  add(std::move(content), isConfiguration);
  callListeners();
}

void EventLog::notePublication(RecordedConfiguration configuration) {
  const bool isConfiguration = true;
  add(std::make_shared<const RecordedEvent>(std::move(configuration)), isConfiguration);
  callListeners();
}

void EventLog::add(std::shared_ptr<const RecordedEvent> content, bool isConfiguration) {
  Entry entry{{}, std::move(content)};  // becomes the replaced one, which is released without the lock
  Entry replacedConfiguration;
  const std::lock_guard<std::mutex> lock(mutex_);
  entry.time = system_clock::now();  // under the lock, so that times ascend
  if (isConfiguration) {
    replacedConfiguration = std::exchange(latestConfiguration_, entry);
    latestConfigurationPosition_ = end_;
  }
  std::swap(at(end_), entry);
  ++end_;
}

void EventLog::callListeners() noexcept {
  const auto current = listeners();
  for (const auto& [id, listener] : *current) {
    listener->call();
  }
}

EventLog::Position EventLog::oldest() const {
  return end_ - std::min<Position>(end_, ring_.size());
}

EventLog::Position EventLog::begin() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return oldest();
}

EventLog::Position EventLog::end() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return end_;
}

// The entries from a position on, up to the next one that was dropped.
EventLog::Selection EventLog::entriesFrom(Position from, std::size_t atMost) const {
  const auto limit = std::min<std::uint64_t>(atMost, end() - begin());
  Selection selection{};
  selection.entries.reserve(limit);  // before the lock is taken, since the framework's threads wait for it
  const std::lock_guard<std::mutex> lock(mutex_);
  from = std::min(from, end_);
  auto position = std::max(from, oldest());
  while (position != end_ && !at(position).content) {
    ++position;
  }
  selection.first = position;
  selection.dropped = position - from;
  if (latestConfigurationPosition_ >= from && latestConfigurationPosition_ < position) {
    selection.droppedConfiguration = latestConfiguration_;
  }
  for (; position != end_ && at(position).content && selection.entries.size() < limit; ++position) {
    selection.entries.push_back(at(position));
  }
  return selection;
}

EventRecorder::Batch EventLog::read(Position from, std::size_t atMost) const {
  const auto selection = entriesFrom(from, atMost);
  EventRecorder::Batch batch;
  batch.next = selection.first + selection.entries.size();
  batch.dropped = selection.dropped;
  batch.configuration = textOf(selection.droppedConfiguration);
  batch.lines.reserve(selection.entries.size());
  for (const auto& entry : selection.entries) {
    batch.lines.push_back(textOf(entry));
  }
  return batch;
}

std::string EventLog::latestConfiguration() const {
  Entry latest;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    latest = latestConfiguration_;
  }
  return textOf(latest);
}

std::shared_ptr<const EventLog::Listeners> EventLog::listeners() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return listeners_;
}

EventLog::ListenerID EventLog::addListener(std::function<void()> onNew) {
  auto listener = std::make_shared<LineListener>(std::move(onNew));
  std::shared_ptr<const Listeners> replaced;  // released without the lock
  const std::lock_guard<std::mutex> lock(mutex_);
  auto changed = std::make_shared<Listeners>(*listeners_);
  changed->emplace(lastListener_ + 1, std::move(listener));
  replaced = std::exchange(listeners_, std::move(changed));
  return ++lastListener_;
}

void EventLog::removeListener(ListenerID id) {
  std::shared_ptr<LineListener> removed;
  std::shared_ptr<const Listeners> replaced;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = listeners_->find(id);
    if (found == listeners_->end()) {
      return;
    }
    removed = found->second;
    auto changed = std::make_shared<Listeners>(*listeners_);
    changed->erase(id);
    replaced = std::exchange(listeners_, std::move(changed));
  }
  removed->stop();
}

void EventLog::removeAllListeners() {
  // Stopped, not removed, since a removal needs memory.
  for (const auto& [id, listener] : *listeners()) {
    listener->stop();
  }
}

}  // namespace spfctl
