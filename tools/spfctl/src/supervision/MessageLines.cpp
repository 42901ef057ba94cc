#include "supervision/MessageLines.hpp"

#include <cstdlib>
#include <map>
#include <mutex>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

namespace spfctl {

namespace {

bool hasPrefix(std::string_view line, std::string_view prefix) {
  return line.substr(0, prefix.size()) == prefix;
}

bool hasPriority(std::string_view line) {
  return line.size() > 2 && line[0] == '<' && line[1] >= '0' && line[1] <= '7' && line[2] == '>';
}

// Removes ":12" from the end.
bool removeNumber(std::string_view& text) {
  const auto last = text.find_last_not_of("0123456789");
  if (last == std::string_view::npos || last + 1 == text.size() || text[last] != ':') {
    return false;
  }
  text.remove_suffix(text.size() - last);
  return true;
}

// FILE:LINE:COLUMN
bool isPlace(std::string_view text) {
  const bool hasColumn = removeNumber(text);
  return hasColumn && removeNumber(text);
}

// What is wrong with a configuration file begins with "FILE:LINE:COLUMN: ". The file's name may hold anything.
Priority priorityOfFinding(std::string_view line) {
  for (auto end = line.find(": "); end != std::string_view::npos; end = line.find(": ", end + 1)) {
    if (isPlace(line.substr(0, end))) {
      return hasPrefix(line.substr(end), ": warning: ") ? Priority::warning : Priority::error;
    }
  }
  return Priority::ordinary;
}

Priority priorityOf(std::string_view line, Priority previous) {
  if (hasPrefix(line, " ")) {
    return previous;
  }
  if (hasPrefix(line, "spfctl: warning: ")) {
    return Priority::warning;
  }
  if (hasPrefix(line, "spfctl: ") || hasPrefix(line, "spfctl ")) {
    return Priority::error;
  }
  return priorityOfFinding(line);
}

}  // namespace

bool isJournal(int descriptor, const char* stream) {
  struct stat status {};
  return stream != nullptr && fstat(descriptor, &status) == 0 &&
         stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

bool isJournalAtStandardError() {
  return isJournal(STDERR_FILENO, std::getenv("JOURNAL_STREAM"));
}

std::string withPriority(Priority priority, std::string_view text) {
  const auto prefix = "<" + std::to_string(static_cast<int>(priority)) + ">";
  std::string result = prefix;
  for (const char byte : text) {
    result += byte;
    if (byte == '\n') {
      result += prefix;
    }
  }
  return result;
}

/// Collects each thread's line until its end.
class MessageLines::Buffer : public std::streambuf {
 public:
  Buffer(std::streambuf& sink, Prefix prefix) : sink_(sink), prefix_(prefix) {}

  void finish() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [thread, line] : lines_) {
      if (!line.text.empty()) {
        if (prefix_ == Prefix::priority) {
          line.text += '\n';
        }
        write(line);
      }
    }
    sink_.pubsync();
  }

 protected:
  int_type overflow(int_type byte) override {
    if (traits_type::eq_int_type(byte, traits_type::eof())) {
      return traits_type::not_eof(byte);
    }
    const char text = traits_type::to_char_type(byte);
    return xsputn(&text, 1) == 1 ? byte : traits_type::eof();
  }

  std::streamsize xsputn(const char* text, std::streamsize size) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& line = lines_[std::this_thread::get_id()];
    bool isWritten = true;
    for (std::string_view rest(text, static_cast<std::size_t>(size)); !rest.empty();) {
      const auto end = rest.find('\n');
      line.text += rest.substr(0, end == std::string_view::npos ? end : end + 1);
      if (end == std::string_view::npos) {
        break;
      }
      isWritten = write(line) && isWritten;
      rest.remove_prefix(end + 1);
    }
    return isWritten ? size : 0;
  }

  // Does not write a line that has no end yet: the stream is flushed after each piece.
  int sync() override {
    const std::lock_guard<std::mutex> lock(mutex_);
    return sink_.pubsync();
  }

 private:
  struct Line {
    std::string text;
    Priority previous = Priority::ordinary;
  };

  bool write(Line& line) {
    if (prefix_ == Prefix::priority && !hasPriority(line.text)) {
      line.previous = priorityOf(line.text, line.previous);
      line.text.insert(0, withPriority(line.previous, ""));
    }
    const auto size = static_cast<std::streamsize>(line.text.size());
    const bool isWritten = sink_.sputn(line.text.data(), size) == size;
    line.text.clear();
    return isWritten;
  }

  std::mutex mutex_;

  // Guarded by `mutex_`:
  std::streambuf& sink_;
  const Prefix prefix_;
  std::map<std::thread::id, Line> lines_;
};

MessageLines::MessageLines(std::ostream& stream, Prefix prefix)
    : stream_(stream), previous_(stream.rdbuf()), buffer_(std::make_unique<Buffer>(*previous_, prefix)) {
  stream_.rdbuf(buffer_.get());
}

MessageLines::~MessageLines() {
  stream_.rdbuf(previous_);
  finish();
}

void MessageLines::finish() {
  buffer_->finish();
}

}  // namespace spfctl
