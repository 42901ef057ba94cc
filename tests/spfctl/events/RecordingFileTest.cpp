#include "events/RecordingFile.hpp"

#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

#include <sys/resource.h>
#include <sys/stat.h>

#include "SendingFramework.hpp"
#include "events/readRecording.hpp"
#include "file/SourceText.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using spfctl::EventRecorder;
using spfctl::FileError;
using spfctl::RecordedDrop;
using spfctl::RecordingFile;
using testing::HasSubstr;
using testing::StartsWith;
using watchtest::SendingFramework;

namespace {

// Lets files of this process grow up to a size only.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit = before_;
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

class ARecordingFile : public testing::Test {
 protected:
  std::string content() const {
    std::ifstream stream(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  std::vector<spfctl::RecordedLine> lines() const { return spfctl::readRecording({"recording", content()}); }

  std::string complaint(const std::string& file) {
    try {
      const RecordingFile sut(recorder_, file, messages_);
    } catch (const FileError& error) {
      return error.what();
    }
    return "no complaint";
  }

  const Workspace workspace_;
  const std::string file_ = (workspace_.path() / "recording.jsonl").string();
  const SendingFramework framework_;
  EventRecorder recorder_{framework_.context(), 4};
  std::ostringstream messages_;
};

}  // namespace

TEST_F(ARecordingFile, HoldsAllLinesThatArriveBeforeAndWhileItIsThere) {
  recorder_.notePublication("c", 1, "f.json", "{}");
  {
    const RecordingFile sut(recorder_, file_, messages_);
    framework_.sendPublished("p", 1);
    framework_.sendError("p", 1, "broken");
  }
  framework_.sendPublished("p", 1);
  const auto batch = recorder_.read(0, 3);
  EXPECT_EQ(content(), batch.lines.at(0) + "\n" + batch.lines.at(1) + "\n" + batch.lines.at(2) + "\n");
  EXPECT_EQ(lines().size(), 3u);
  EXPECT_EQ(messages_.str(), "");
}

TEST_F(ARecordingFile, IsWrittenWhileTheRecorderGoesOn) {
  const RecordingFile sut(recorder_, file_, messages_);
  recorder_.notePublication("c", 1, "f.json", "{}");
  const auto line = recorder_.latestConfiguration() + "\n";
  while (content() != line) {  // the watchdog ends a test that hangs
    std::this_thread::yield();
  }
}

TEST_F(ARecordingFile, ReplacesAFileThatExists) {
  workspace_.write("recording.jsonl", std::string(10000, 'x'));
  { const RecordingFile sut(recorder_, file_, messages_); }
  EXPECT_EQ(content(), "");
}

TEST_F(ARecordingFile, CountsLinesThatTheRecorderLostAndRepeatsTheConfigurationAmongThem) {
  recorder_.notePublication("c", 7, "f.json", "{}");
  for (int i = 0; i < 5; ++i) {
    framework_.sendPublished("p", 7);
  }
  { const RecordingFile sut(recorder_, file_, messages_); }
  const auto written = lines();
  ASSERT_EQ(written.size(), 6u);
  EXPECT_EQ(std::get<RecordedDrop>(written[0].event).count, 2u);
  EXPECT_EQ(std::get<spfctl::RecordedConfiguration>(written[1].event).revision, 7u);
}

TEST_F(ARecordingFile, RepeatsNoConfigurationThatANewerOneFollows) {
  for (const std::uint32_t revision : {7, 8}) {
    recorder_.notePublication("c", revision, "f.json", "{}");
  }
  for (int i = 0; i < 3; ++i) {
    framework_.sendPublished("p", 8);
  }
  { const RecordingFile sut(recorder_, file_, messages_); }
  const auto written = lines();
  ASSERT_EQ(written.size(), 5u);
  EXPECT_EQ(std::get<RecordedDrop>(written[0].event).count, 1u);
  EXPECT_EQ(std::get<spfctl::RecordedConfiguration>(written[1].event).revision, 8u);
}

TEST_F(ARecordingFile, SaysOnceThatTheDiskIsFullAndLetsTheRecorderGoOn) {
  {
    const RecordingFile sut(recorder_, "/dev/full", messages_);
    for (int i = 0; i < 10; ++i) {
      framework_.sendPublished("p", 1);
    }
  }
  EXPECT_EQ(messages_.str(), "spfctl: /dev/full: cannot be written: No space left on device; the recording ends\n");
  EXPECT_EQ(recorder_.end(), 10u);
}

TEST_F(ARecordingFile, EndsWithTheLastWholeLineIfWritingFailsInsideOfOne) {
  recorder_.notePublication("c", 1, "f.json", "{}");
  framework_.sendPublished("p", 1);
  framework_.sendPublished("p", 1);
  const auto whole = recorder_.read(0, 2);
  const auto expected = whole.lines.at(0) + "\n" + whole.lines.at(1) + "\n";
  {
    const FileSizeLimit limit(expected.size() + 5);
    const RecordingFile sut(recorder_, file_, messages_);
  }
  EXPECT_EQ(content(), expected);
  EXPECT_EQ(messages_.str(), "spfctl: " + file_ + ": cannot be written: File too large; the recording ends\n");
}

TEST_F(ARecordingFile, ThatCannotBeOpenedIsRefusedBeforeAnythingElse) {
  const auto missing = (workspace_.path() / "missing" / "r.jsonl").string();
  EXPECT_EQ(complaint(missing), missing + ": cannot be written: No such file or directory");
  EXPECT_EQ(complaint(workspace_.path().string()), workspace_.path().string() + ": cannot be written: Is a directory");
  EXPECT_EQ(complaint("-"), "-: standard output takes no recording; expected the name of a file");
  ASSERT_EQ(mkfifo(file_.c_str(), S_IRUSR | S_IWUSR), 0);
  EXPECT_THAT(complaint(file_), StartsWith(file_ + ": cannot be written: No such device or address"));
  framework_.sendPublished("p", 1);  // reaches no file that was refused
  EXPECT_EQ(recorder_.end(), 1u);
}

}  // namespace spf::test
