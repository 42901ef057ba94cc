#include "commands/LogOutput.hpp"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <iostream>
#include <iterator>
#include <mutex>
#include <utility>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "agent/host/logging_levels.hpp"
#include "commands/logLevels.hpp"
#include "display/terminalText.hpp"
#include "supervision/MessageLines.hpp"

namespace spfctl {

namespace {

using boost::log::record_view;

// In one piece, so that no other thread's output gets into the line.
void writeLine(std::string line) {
  line += '\n';
  std::cerr << line << std::flush;
}

/// Where the lines go.
class Outlet {
 public:
  void write(std::string line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!onRecord_) {
      writeLine(std::move(line));
      return;
    }
    if (held_.size() == mostHeld) {
      held_.pop_front();
      ++dropped_;
    }
    held_.push_back(std::move(line));
    onRecord_();  // under the lock, so that `release` waits for it
  }

  void hold(std::function<void()> onRecord) {
    const std::lock_guard<std::mutex> lock(mutex_);
    onRecord_ = std::move(onRecord);
  }

  std::vector<std::string> take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return takeHeld();
  }

  void release() {
    const std::lock_guard<std::mutex> lock(mutex_);
    onRecord_ = nullptr;
    for (auto& line : takeHeld()) {
      writeLine(std::move(line));
    }
  }

 private:
  std::vector<std::string> takeHeld() {
    std::vector<std::string> lines;
    if (const auto dropped = std::exchange(dropped_, 0); dropped > 0) {
      lines.push_back("spfctl: warning: " + std::to_string(dropped) + " log records were dropped");
    }
    std::move(held_.begin(), held_.end(), std::back_inserter(lines));
    held_.clear();
    return lines;
  }

  /// As many as a host keeps of the framework's events. More wait only while nobody reads the terminal.
  static constexpr std::size_t mostHeld = 10000;

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::function<void()> onRecord_;  ///< empty: nothing is held back
  std::deque<std::string> held_;
  std::size_t dropped_ = 0;  ///< how many were dropped since the last call of `take`
};

// Never destroyed: records may be written until the process ends.
Outlet& outlet() {
  static auto& outlet = *new Outlet;
  return outlet;
}

// A swallowed exception is no error of the host, which continues.
Priority priorityOf(std::uint32_t level) {
  switch (level) {
    case loglevels::progress:
      return Priority::debug;
    case loglevels::warnings:
    case loglevels::exceptions:
      return Priority::warning;
    default:
      return Priority::ordinary;
  }
}

/// Stands for the level of a record that has none, or one of another kind: it is shown if any level is.
constexpr std::uint32_t otherLevel = 0xFFFFFFFF;

std::string lineOf(const record_view& record, std::uint32_t level) {
  const auto message = boost::log::extract_or_default<std::string>("Message", record, std::string());
  if (level == loglevels::warnings) {
    return "spfctl: warning: " + message;
  }
  const auto channel = boost::log::extract_or_default<std::string>("Channel", record, std::string());
  return "log" + (channel.empty() ? "" : " " + channel) + (level == otherLevel ? "" : " " + std::to_string(level)) +
         ": " + message;
}

class Sink : public boost::log::sinks::basic_sink_backend<boost::log::sinks::concurrent_feeding> {
 public:
  void consume(const record_view& record) const {
    const auto level = boost::log::extract_or_default<std::uint32_t>("Severity", record, otherLevel);
    // The framework asks which levels are on before it writes a record; other code need not.
    if ((level & agent::host::logging::enabled_levels()) == 0) {
      return;
    }
    const auto line = lineOf(record, level);
    // A record may hold several lines, each of which is an entry of the journal.
    outlet().write(isJournal_ ? withPriority(priorityOf(level), line) : escaped(line));
  }

 private:
  const bool isJournal_ = isJournalAtStandardError();
};

}  // namespace

void showLogRecords(std::uint32_t levels) {
  static std::once_flag once;
  std::call_once(once, [] {
    using Frontend = boost::log::sinks::synchronous_sink<Sink>;
    boost::log::core::get()->add_sink(boost::make_shared<Frontend>());
  });
  agent::host::logging::set_enabled_levels(levels);
}

HeldLogRecords::HeldLogRecords(std::function<void()> onRecord) {
  outlet().hold(std::move(onRecord));
}

HeldLogRecords::~HeldLogRecords() {
  outlet().release();
}

std::vector<std::string> HeldLogRecords::take() {
  return outlet().take();
}

}  // namespace spfctl
