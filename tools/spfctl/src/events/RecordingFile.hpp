#pragma once

#include <condition_variable>
#include <cstdint>
#include <iosfwd>
#include <mutex>
#include <string>
#include <thread>

#include "events/EventRecorder.hpp"

namespace spfctl {

/// Writes the lines of a recorder to a file, from the oldest one on, on a thread of its own. Each batch is handed to
/// the system at once. Lines that the recorder no longer has are counted by a "dropped" line; the newest
/// configuration follows it if it is one of them.
class RecordingFile {
 public:
  /// Opens the file, replacing its content, and starts the thread.
  /// \param recorder  has to outlive this object
  /// \param file      a file name; "-" is refused. A pipe needs a reader, and one that is full ends the recording.
  /// \param messages  receives one line if writing fails, on the thread that writes; then the recording ends with the
  ///                  last whole line, and the host continues. Has to outlive this object, and to accept output of
  ///                  several threads if others use it.
  /// \throws FileError naming the file if it cannot be opened
  RecordingFile(EventRecorder& recorder, const std::string& file, std::ostream& messages);

  /// Writes everything that has arrived until now, and closes the file. A failure is reported as above. Never throws.
  ~RecordingFile();

  RecordingFile(const RecordingFile&) = delete;
  RecordingFile& operator=(const RecordingFile&) = delete;

 private:
  /// The open file.
  class Target {
   public:
    explicit Target(const std::string& file);
    ~Target();
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    /// Writes whole lines.
    /// \throws std::system_error; then the file ends with the last whole line that was written
    void write(const std::string& lines);

   private:
    const int descriptor_;
    std::uint64_t size_ = 0;
  };

  /// Calls `note` after each line.
  class Subscription {
   public:
    explicit Subscription(RecordingFile& file);
    ~Subscription();
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;

   private:
    EventRecorder& recorder_;
    const EventRecorder::ListenerID listener_;
  };

  void note();
  bool waitForMore();
  void run() noexcept;
  void report(const char* reason) noexcept;
  void writeUntil(EventRecorder::Position end);

  // Constant after construction:
  EventRecorder& recorder_;
  const std::string file_;
  std::ostream& messages_;

  // Used by the thread only:
  Target target_;
  EventRecorder::Position next_ = 0;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool hasNew_ = true;
  bool isStopping_ = false;

  // After what they use:
  const Subscription subscription_;
  std::thread thread_;
};

}  // namespace spfctl
