#include "supervision/MessageLines.hpp"

#include <gmock/gmock.h>

#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "spf/test/Gate.hpp"

namespace spf::test {

using spfctl::isJournal;
using spfctl::MessageLines;
using spfctl::Prefix;
using spfctl::Priority;
using spfctl::withPriority;

class TheJournalsStream : public testing::Test {
 protected:
  TheJournalsStream() {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    struct stat status {};
    EXPECT_EQ(fstat(ends_[1], &status), 0);
    device_ = std::to_string(status.st_dev);
    inode_ = std::to_string(status.st_ino);
  }
  ~TheJournalsStream() override {
    close(ends_[0]);
    close(ends_[1]);
  }

  int ends_[2] = {-1, -1};
  std::string device_;
  std::string inode_;
};

TEST_F(TheJournalsStream, IsThatOfTheDeviceAndInodeInTheEnvironment) {
  EXPECT_TRUE(isJournal(ends_[1], (device_ + ":" + inode_).c_str()));
}

TEST_F(TheJournalsStream, IsNoneWithoutAValueOrWithThatOfAnotherStream) {
  EXPECT_FALSE(isJournal(ends_[1], nullptr));
  for (const auto& value : {std::string(), device_, device_ + ":", device_ + ":1" + inode_,
                            "1" + device_ + ":" + inode_, device_ + ":" + inode_ + " "}) {
    EXPECT_FALSE(isJournal(ends_[1], value.c_str())) << value;
  }
}

TEST_F(TheJournalsStream, IsNoneWhereTheDescriptorIsClosed) {
  const int closed = dup(ends_[1]);
  close(closed);
  EXPECT_FALSE(isJournal(closed, (device_ + ":" + inode_).c_str()));
}

TEST(APriority, StandsBeforeEachLine) {
  EXPECT_EQ(withPriority(Priority::warning, "first\n\nthird"), "<4>first\n<4>\n<4>third");
  EXPECT_EQ(withPriority(Priority::error, ""), "<3>");
}

// Returns what arrives of the text.
std::string written(const std::string& text) {
  std::ostringstream stream;
  {
    const MessageLines sut(stream, Prefix::priority);
    stream << text;
  }
  return stream.str();
}

TEST(TheJournal, GetsWarningsAndErrorsOfTheToolWithTheirPriorities) {
  EXPECT_EQ(written("spfctl: warning: no bundle\n"), "<4>spfctl: warning: no bundle\n");
  EXPECT_EQ(written("spfctl: not ready: p\n"), "<3>spfctl: not ready: p\n");
  EXPECT_EQ(written("spfctl run: unknown option '--fast'\n"), "<3>spfctl run: unknown option '--fast'\n");
  EXPECT_EQ(written("spfctly\n"), "<6>spfctly\n");
}

TEST(TheJournal, GetsWhatIsWrongInAFileWithItsExcerpt) {
  EXPECT_EQ(written("a.json:5:7: unknown key\n  5 | x\n    | ^\n"),
            "<3>a.json:5:7: unknown key\n<3>  5 | x\n<3>    | ^\n");
  EXPECT_EQ(written("a.json:5:7: warning: unused\n  5 | x\n"), "<4>a.json:5:7: warning: unused\n<4>  5 | x\n");
  EXPECT_EQ(written("odd: 1: name:12:34: warning: unused\n"), "<4>odd: 1: name:12:34: warning: unused\n");
}

TEST(TheJournal, GetsOtherLinesAsOrdinaryOnes) {
  for (const std::string line : {"Try 'spfctl --help'.", "a: b", "a:1: b", "a:x:1: b", ":: b", "1:2: b", ""}) {
    EXPECT_EQ(written(line + "\n"), "<6>" + line + "\n");
  }
}

TEST(TheJournal, GetsALineThatHasAPriorityAsItIs) {
  EXPECT_EQ(written("<7>log\n<4>log\n"), "<7>log\n<4>log\n");
  EXPECT_EQ(written("<8>log\n<4\n"), "<6><8>log\n<6><4\n");
}

TEST(TheJournal, GetsALineThatIsWrittenInPiecesAsAWhole) {
  std::ostringstream stream;
  const MessageLines sut(stream, Prefix::priority);
  stream << "spfctl: " << std::unitbuf << "warn" << 'i' << std::flush << "ng: x";
  EXPECT_EQ(stream.str(), "");
  stream << std::endl;
  EXPECT_EQ(stream.str(), "<4>spfctl: warning: x\n");
}

TEST(TheJournal, GetsTheLastLineWithoutItsEndWhenTheMessagesEnd) {
  EXPECT_EQ(written("spfctl: a\nspfctl: b"), "<3>spfctl: a\n<3>spfctl: b\n");
  EXPECT_EQ(written(""), "");
}

TEST(TheJournal, GetsTheLinesOfThreadsUnmixed) {
  std::ostringstream stream;
  const MessageLines sut(stream, Prefix::priority);
  Gate begun;
  Gate interrupted;
  std::streambuf& buffer = *static_cast<std::ostream&>(stream).rdbuf();
  bool wasInterrupted = false;
  std::thread thread([&] {
    std::ostream own(&buffer);
    own << "spfctl: first";
    begun.open();
    wasInterrupted = interrupted.wait();
    own << " line\n";
  });
  EXPECT_TRUE(begun.wait());
  stream << "ordinary\n";
  interrupted.open();
  thread.join();
  EXPECT_TRUE(wasInterrupted);
  EXPECT_EQ(stream.str(), "<6>ordinary\n<3>spfctl: first line\n");
}

TEST(AStreamOfWholeLines, GetsLinesThatAreWrittenInPiecesAsTheyAre) {
  std::ostringstream stream;
  const MessageLines sut(stream, Prefix::none);
  stream << "spfctl: " << std::unitbuf << "first" << std::flush << "\n  sec";
  EXPECT_EQ(stream.str(), "spfctl: first\n");
  stream << "ond\n";
  EXPECT_EQ(stream.str(), "spfctl: first\n  second\n");
}

TEST(AStreamOfWholeLines, GetsTheLastLineWhenTheyAreFinished) {
  std::ostringstream stream;
  MessageLines sut(stream, Prefix::none);
  stream << "spfctl: a";
  sut.finish();
  EXPECT_EQ(stream.str(), "spfctl: a");
  stream << " b\n";
  EXPECT_EQ(stream.str(), "spfctl: a b\n");
}

TEST(AStream, IsAsItWasAfterTheJournalsMessages) {
  std::ostringstream stream;
  { const MessageLines sut(stream, Prefix::priority); }
  stream << "spfctl: x";
  EXPECT_EQ(stream.str(), "spfctl: x");
}

// What cannot be written is not taken for written.
class FullDevice : public std::streambuf {};

TEST(AStream, FailsWhereTheJournalTakesNothing) {
  FullDevice device;
  std::ostream stream(&device);
  const MessageLines sut(stream, Prefix::priority);
  stream << "lost\n";
  EXPECT_FALSE(stream.good());
}

}  // namespace spf::test
