#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"

namespace spfctl {

class EventLog;

/// Keeps the framework's newest events as lines of a recording (see `recordedEvent.hpp`), from construction to
/// destruction, with the configurations that the host published between them.
///
/// Lines have ascending positions, in the order of arrival. Any number of threads may call the member functions at the
/// same time. No thread may use the recorder during or after its destruction; events may still arrive then, and are
/// ignored.
class EventRecorder {
 public:
  using Position = std::uint64_t;
  using ListenerID = std::uint64_t;

  struct Batch {
    std::vector<std::string> lines;  ///< without ends of lines
    Position next = 0;               ///< where to read on
    std::uint64_t dropped = 0;       ///< how many lines from `from` to the first one here are gone
    std::string configuration;       ///< the newest "configuration" line, if it is one of those that are gone
  };

  /// Registers a FrameworkListener.
  /// \param context   a context of the framework whose events are recorded
  /// \param capacity  how many lines are kept, at least one
  /// \throws std::runtime_error if the context is not valid
  /// \throws what registering a service throws otherwise
  explicit EventRecorder(cppmicroservices::BundleContext context, std::size_t capacity = 10000);

  /// Unregisters the listener, removes all `onNew`, and blocks until calls of them on other threads have returned.
  /// Never throws, even if the framework has stopped.
  ~EventRecorder();

  EventRecorder(const EventRecorder&) = delete;
  EventRecorder& operator=(const EventRecorder&) = delete;

  /// Adds a "configuration" line. Call it before the revision is published, so that no event stands before it.
  /// \param file  the file that it was read from
  /// \param text  the text of the file
  /// \throws std::bad_alloc; then there is no line
  void notePublication(const std::string& configurationID, std::uint32_t revision, const std::string& file,
                       const std::string& text);

  /// Returns the position of the oldest line that is kept, or `end()` if there is none.
  Position begin() const;

  /// Returns the position behind the newest line: that of the next one.
  Position end() const;

  /// Returns the lines from a position on, up to the newest one or the first that is gone, and not more than `atMost`.
  /// An event that there was no memory for counts as a line that is gone. Does not block.
  /// \param from  a position behind the newest line counts as `end()`
  Batch read(Position from, std::size_t atMost) const;

  /// Returns the newest "configuration" line, which is kept even when `begin()` is behind it; empty if there was none.
  std::string latestConfiguration() const;

  /// Adds a function that is called after each line, on the thread that adds it, with no lock held; calls may overlap.
  /// It must not block, since it delays the framework's events. What it throws is dropped.
  ListenerID addListener(std::function<void()> onNew);

  /// Removes a function, and blocks until calls of it on other threads have returned. May run inside of it. Does
  /// nothing for an unknown ID.
  void removeListener(ListenerID id);

 private:
  const std::shared_ptr<EventLog> log_;
  cppmicroservices::ServiceRegistration<agent::spf::frameworklistener::FrameworkListener> registration_;
};

}  // namespace spfctl
