#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace spf::test {

struct LogRecord {
  std::uint32_t severity;
  std::string channel;
  std::string message;
};

inline bool operator==(const LogRecord& left, const LogRecord& right) {
  return left.severity == right.severity && left.channel == right.channel && left.message == right.message;
}
std::ostream& operator<<(std::ostream& stream, const LogRecord& record);

/// What all channels write at these levels while this object lives. Sets the process-wide mask, and
/// clears it at the end.
class RecordedLog {
 public:
  explicit RecordedLog(std::uint32_t levels);
  ~RecordedLog();
  RecordedLog(const RecordedLog&) = delete;
  RecordedLog& operator=(const RecordedLog&) = delete;

  std::vector<LogRecord> records() const;
  std::vector<std::string> messages() const;

  /// How many loggers wrote the records: each has an object of its own for its channel's name.
  std::size_t loggers() const;

  /// Called by the sink for every record, on the thread that writes it; may throw.
  void onRecord(std::function<void(const LogRecord&)> action);

  /// Switches the log's core off and on.
  static void setCoreEnabled(bool enabled);

  /// Lets the log's core decline every record, as a filter of the host's does, until this object ends.
  static void declineRecords();

  struct Sink;

 private:
  std::shared_ptr<Sink> sink_;
  std::shared_ptr<void> frontend_;
};

/// A progress record of the library.
inline LogRecord progress(std::string message) {
  return {4, "agent::spf::frameworksetup", std::move(message)};
}

}  // namespace spf::test
