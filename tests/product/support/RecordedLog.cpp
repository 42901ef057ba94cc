#include "RecordedLog.hpp"

#include <map>
#include <mutex>
#include <ostream>

#include <boost/log/attributes/attribute_value.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>

#include "agent/host/logging_levels.hpp"

namespace logging = boost::log;

namespace spf::test {

std::ostream& operator<<(std::ostream& stream, const LogRecord& record) {
  return stream << record.channel << " " << record.severity << ": " << record.message;
}

struct RecordedLog::Sink {
  void note(const logging::record_view& view) {
    const LogRecord record{logging::extract_or_default<std::uint32_t>("Severity", view, 0u),
                           logging::extract_or_default<std::string>("Channel", view, std::string()),
                           logging::extract_or_default<std::string>("Message", view, std::string())};
    std::function<void(const LogRecord&)> action;
    const auto channel = view.attribute_values()["Channel"];
    {
      const std::lock_guard<std::mutex> lock(mutex);
      records.push_back(record);
      channels.emplace(channel.extract<std::string>().get_ptr(), channel);
      action = onRecord;
    }
    if (action) {
      action(record);
    }
  }

  mutable std::mutex mutex;
  std::vector<LogRecord> records;
  // The channels' names by their addresses; kept alive, so that no address comes a second time.
  std::map<const void*, logging::attribute_value> channels;
  std::function<void(const LogRecord&)> onRecord;
};

namespace {

class Backend : public logging::sinks::basic_sink_backend<logging::sinks::concurrent_feeding> {
 public:
  explicit Backend(std::shared_ptr<RecordedLog::Sink> sink) : sink_(std::move(sink)) {}
  void consume(const logging::record_view& view) { sink_->note(view); }

 private:
  std::shared_ptr<RecordedLog::Sink> sink_;
};

using Frontend = logging::sinks::unlocked_sink<Backend>;

}  // namespace

RecordedLog::RecordedLog(std::uint32_t levels) : sink_(std::make_shared<Sink>()) {
  const auto frontend = boost::make_shared<Frontend>(boost::make_shared<Backend>(sink_));
  logging::core::get()->add_sink(frontend);
  frontend_ = std::shared_ptr<void>(nullptr, [frontend](void*) { logging::core::get()->remove_sink(frontend); });
  agent::host::logging::set_enabled_levels(levels);
}

RecordedLog::~RecordedLog() {
  agent::host::logging::set_enabled_levels(0);
  setCoreEnabled(true);
  logging::core::get()->reset_filter();
}

std::vector<LogRecord> RecordedLog::records() const {
  const std::lock_guard<std::mutex> lock(sink_->mutex);
  return sink_->records;
}

std::size_t RecordedLog::loggers() const {
  const std::lock_guard<std::mutex> lock(sink_->mutex);
  return sink_->channels.size();
}

std::vector<std::string> RecordedLog::messages() const {
  std::vector<std::string> messages;
  for (const auto& record : records()) {
    messages.push_back(record.message);
  }
  return messages;
}

void RecordedLog::onRecord(std::function<void(const LogRecord&)> action) {
  const std::lock_guard<std::mutex> lock(sink_->mutex);
  sink_->onRecord = std::move(action);
}

void RecordedLog::setCoreEnabled(bool enabled) {
  logging::core::get()->set_logging_enabled(enabled);
}

void RecordedLog::declineRecords() {
  logging::core::get()->set_filter([](const logging::attribute_value_set&) { return false; });
}

}  // namespace spf::test
