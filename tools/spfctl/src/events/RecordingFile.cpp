#include "events/RecordingFile.hpp"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ostream>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/spf/frameworksupport/startThread.hpp"
#include "display/terminalText.hpp"
#include "events/recordedEvent.hpp"
#include "file/SourceText.hpp"

namespace spfctl {

namespace {

constexpr std::size_t linesOfABatch = 1000;

int openForWriting(const std::string& file) {
  if (file == "-") {
    throw FileError("-: standard output takes no recording; expected the name of a file");
  }
  // Without blocking, because a pipe that nobody reads would stop the host.
  const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK,
                              S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
  if (descriptor < 0) {
    throw FileError(file + ": cannot be written: " + std::strerror(errno));
  }
  return descriptor;
}

std::string textOf(const EventRecorder::Batch& batch) {
  std::string text;
  if (batch.dropped != 0) {
    text = lineOf(RecordedDrop{batch.dropped}, std::chrono::system_clock::now()) + '\n';
  }
  if (!batch.configuration.empty()) {
    text += batch.configuration + '\n';
  }
  for (const auto& line : batch.lines) {
    text += line + '\n';
  }
  return text;
}

}  // namespace

RecordingFile::Target::Target(const std::string& file) : descriptor_(openForWriting(file)) {}

RecordingFile::Target::~Target() {
  close(descriptor_);
}

void RecordingFile::Target::write(const std::string& lines) {
  std::size_t written = 0;
  while (written < lines.size()) {
    const auto count = ::write(descriptor_, lines.data() + written, lines.size() - written);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      const std::error_code reason(errno, std::generic_category());
      const auto lineEnd = lines.substr(0, written).rfind('\n');
      size_ += lineEnd == std::string::npos ? 0 : lineEnd + 1;
      static_cast<void>(ftruncate(descriptor_, static_cast<off_t>(size_)) == 0);  // devices cannot be cut
      throw std::system_error(reason);
    }
  }
  size_ += written;
}

RecordingFile::Subscription::Subscription(RecordingFile& file)
    : recorder_(file.recorder_), listener_(recorder_.addListener([&file] { file.note(); })) {}

RecordingFile::Subscription::~Subscription() {
  recorder_.removeListener(listener_);
}

RecordingFile::RecordingFile(EventRecorder& recorder, const std::string& file, std::ostream& messages)
    : recorder_(recorder),
      file_(file),
      messages_(messages),
      target_(file),
      subscription_(*this),
      thread_(agent::spf::frameworksupport::startThread([this] { run(); })) {}

RecordingFile::~RecordingFile() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopping_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void RecordingFile::note() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    hasNew_ = true;
  }
  changed_.notify_all();
}

// Returns false when the recording is to end.
bool RecordingFile::waitForMore() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return hasNew_ || isStopping_; });
  hasNew_ = false;
  return !isStopping_;
}

void RecordingFile::run() noexcept {
  try {
    while (waitForMore()) {
      writeUntil(recorder_.end());
    }
    writeUntil(recorder_.end());
  } catch (const std::exception& error) {
    report(error.what());
  }
}

void RecordingFile::report(const char* reason) noexcept {
  try {
    // In one piece, since other threads may write messages too.
    const auto message = "spfctl: " + escaped(file_ + ": cannot be written: " + reason) + "; the recording ends\n";
    messages_ << message << std::flush;
  } catch (...) {
    // There is no memory, or no place for messages; the host continues.
  }
}

void RecordingFile::writeUntil(EventRecorder::Position end) {
  while (next_ < end) {
    const auto batch = recorder_.read(next_, linesOfABatch);
    target_.write(textOf(batch));
    next_ = batch.next;
  }
}

}  // namespace spfctl
