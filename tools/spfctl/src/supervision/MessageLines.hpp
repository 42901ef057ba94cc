#pragma once

#include <memory>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace spfctl {

/// The priorities of the journal that the tool uses, as syslog(3) numbers them.
enum class Priority { error = 3, warning = 4, ordinary = 6, debug = 7 };

/// Returns whether what is written to a file descriptor goes to the journal.
/// \param stream  the value of JOURNAL_STREAM, which names the journal's stream by device and inode; null if it is not
/// set
bool isJournal(int descriptor, const char* stream);

/// Returns whether the process's standard error goes to the journal.
bool isJournalAtStandardError();

/// Returns the text with the priority at the beginning of each of its lines: "<4>first\n<4>second".
std::string withPriority(Priority priority, std::string_view text);

/// What stands before each line.
enum class Prefix { none, priority };

/// Hands on each line of a stream as a whole while it lives, so that those of several threads do not mix.
///
/// Priorities are put before the lines by their beginnings: "spfctl: warning: ..." is a warning, other messages of the
/// tool are errors, a line that is indented belongs to the one before, and what has a priority already keeps it.
///
/// Any thread may write to the stream, but none at its construction and destruction.
class MessageLines {
 public:
  MessageLines(std::ostream& stream, Prefix prefix);

  /// Finishes, and leaves the stream as it was.
  ~MessageLines();

  MessageLines(const MessageLines&) = delete;
  MessageLines& operator=(const MessageLines&) = delete;

  /// Writes what has no end of line yet.
  void finish();

 private:
  class Buffer;

  std::ostream& stream_;
  std::streambuf* const previous_;
  const std::unique_ptr<Buffer> buffer_;
};

}  // namespace spfctl
