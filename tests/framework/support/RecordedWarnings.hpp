#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include "agent/host/logging_levels.hpp"
#include "spf/test/Gate.hpp"

namespace frameworktest {

/// Records the warnings in the host's log during its lifetime. Any thread may call any member.
class RecordedWarnings {
 public:
  RecordedWarnings() {
    boost::log::core::get()->add_sink(sink_);
    agent::host::logging::set_enabled_levels(64);
  }
  ~RecordedWarnings() {
    agent::host::logging::set_enabled_levels(0);
    boost::log::core::get()->remove_sink(sink_);
  }

  RecordedWarnings(const RecordedWarnings&) = delete;
  RecordedWarnings& operator=(const RecordedWarnings&) = delete;

  /// Waits for a warning that contains a text.
  /// \return the warning; empty after the time-out of the tests
  std::string waitFor(const std::string& part) {
    auto& messages = *messages_;
    std::unique_lock<std::mutex> lock(messages.mutex);
    messages.added.wait_until(lock, std::chrono::steady_clock::now() + spf::test::patience,
                              [&] { return !messages.with(part).empty(); });
    const auto found = messages.with(part);
    return found.empty() ? "" : found.front();
  }

  /// Returns the warnings that contain a text.
  std::vector<std::string> with(const std::string& part) const {
    const std::lock_guard<std::mutex> lock(messages_->mutex);
    return messages_->with(part);
  }

 private:
  struct Messages : boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
    void consume(const boost::log::record_view& record) {
      const auto message = record[boost::log::expressions::smessage];
      if (message) {
        const std::lock_guard<std::mutex> lock(mutex);
        texts.push_back(message.get());
        added.notify_all();
      }
    }

    std::vector<std::string> with(const std::string& part) const {
      std::vector<std::string> found;
      for (const std::string& text : texts) {
        if (text.find(part) != std::string::npos) {
          found.push_back(text);
        }
      }
      return found;
    }

    std::mutex mutex;
    std::condition_variable added;

    // Guarded by `mutex`:
    std::vector<std::string> texts;
  };

  const boost::shared_ptr<Messages> messages_ = boost::make_shared<Messages>();
  const boost::shared_ptr<boost::log::sinks::synchronous_sink<Messages>> sink_ =
      boost::make_shared<boost::log::sinks::synchronous_sink<Messages>>(messages_);
};

}  // namespace frameworktest
