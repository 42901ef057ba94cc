#include "events/readRecording.hpp"

#include <gtest/gtest.h>

#include "file/anyJson.hpp"

namespace spf::test {

using namespace std::chrono_literals;
using namespace spfctl;

namespace {

const std::string configuration =
    R"({"version":1,"kind":"configuration","time":"t","configurationID":"c","revision":1,"file":"f","text":"{}"})"
    "\n";

std::vector<RecordedLine> read(const std::string& text) {
  return readRecording({"recording.jsonl", text});
}

std::string complaint(const std::string& text) {
  try {
    read(text);
  } catch (const RecordingError& error) {
    return error.what();
  }
  return "no complaint";
}

// About the second line of a recording.
std::string complaintAbout(const std::string& line) {
  return complaint(configuration + line + "\n");
}

// An event with what makes up its kind.
std::string event(const std::string& rest) {
  return R"({"time":"t","publisher":"p","revision":3,)" + rest + "}";
}

std::string again(const RecordedEvent& event) {
  const auto line = lineOf(event, std::chrono::system_clock::time_point(0ms)) + "\n";
  const auto lines = read(configuration + line);
  return lineOf(lines.at(1).event, std::chrono::system_clock::time_point(0ms)) + "\n" == line ? "" : line;
}

}  // namespace

TEST(ARecording, IsReadAsItWasWritten) {
  EXPECT_EQ(again(RecordedConfiguration{"weather", 2, "/weather.json", "{\n  \"\u00e9\": 1\n}\n"}), "");
  EXPECT_EQ(again(RecordedServices{"p", 4294967295, 0}), "");
  EXPECT_EQ(again(RecordedServices{"p", 0, 1}), "");
  EXPECT_EQ(again(RecordedServices{"p", 0, 9}), "");
  for (const std::uint32_t change : {0, 1, 2, 3, 4}) {
    EXPECT_EQ(again(RecordedEndpoint{"p", 1, change, std::string("tcp://h:1")}), "");
  }
  EXPECT_EQ(again(RecordedEndpoint{"p", 1, 0, cppmicroservices::Any()}), "");
  EXPECT_EQ(again(RecordedEndpoint{"p", 1, 0, std::vector<cppmicroservices::Any>{1, 1.5, true}}), "");
  EXPECT_EQ(again(RecordedError{"p", 1, "bad \"luck\""}), "");
  EXPECT_EQ(again(RecordedOther{4294967295}), "");
  EXPECT_EQ(again(RecordedDrop{18446744073709551615U}), "");
}

TEST(ARecording, HasNumberedLinesWithTheirTimes) {
  const auto lines = read(R"({"kind":"dropped","time":"early","count":1})"
                          "\r\n" +
                          configuration);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].number, 1u);
  EXPECT_EQ(lines[0].time, "early");
  EXPECT_EQ(lines[1].number, 2u);
  EXPECT_EQ(std::get<RecordedConfiguration>(lines[1].event).text, "{}");
}

TEST(ARecording, MayHaveKeysThatThisVersionDoesNotKnow) {
  EXPECT_EQ(complaintAbout(event(R"("kind":"error","error":"e","host":{"a":1})")), "no complaint");
}

TEST(ARecording, MayEndWithoutAnEndOfLineIfTheLastLineIsWhole) {
  EXPECT_EQ(complaint(configuration.substr(0, configuration.size() - 1)), "no complaint");
}

TEST(ARecording, OfWhichTheLastLineIsCutOffIsRefused) {
  EXPECT_EQ(complaint(configuration + R"({"kind":"err)"),
            "recording.jsonl:2: the last line is cut off; expected a whole one; remove it to replay the others");
}

TEST(ARecording, WithoutAConfigurationIsRefused) {
  const std::string message = "recording.jsonl:1: the recording has no line of the kind 'configuration'; expected one";
  EXPECT_EQ(complaint(""), message);
  EXPECT_EQ(complaint(event(R"("kind":"error","error":"e")") + "\n"), message);
}

TEST(ARecording, OfAnotherVersionIsRefused) {
  EXPECT_EQ(complaint(R"({"version":2,"kind":"configuration","time":"t"})"
                      "\n"),
            "recording.jsonl:1: the recording has version 2; expected 1");
}

TEST(ARecording, NamesTheLineThatIsNotValidAndWhatWasExpected) {
  const std::string place = "recording.jsonl:2: ";
  EXPECT_EQ(complaintAbout("[]"), place + "found an array; expected an object");
  EXPECT_EQ(complaintAbout(""), place +
                                    "syntax error while parsing value - unexpected end of input; expected '[', "
                                    "'{', or a literal");
  EXPECT_EQ(complaintAbout(R"({"time":"t"})"), place + "no 'kind'; expected one");
  EXPECT_EQ(complaintAbout(R"({"kind":"other","number":1})"), place + "no 'time'; expected one");
  EXPECT_EQ(complaintAbout(R"({"time":"t","kind":"noise"})"),
            place + "unknown kind 'noise'; expected one of configuration, services, endpoint, error, other, dropped");
  EXPECT_EQ(complaintAbout(R"({"time":"t","kind":7})"), place + "'kind' is a number; expected a string");
  EXPECT_EQ(complaintAbout(event(R"("kind":"error","kind":"error","error":"e")")),
            place + "the key 'kind' is given twice; expected it once");
  EXPECT_EQ(complaintAbout(event(R"("kind":"services","change":"gone")")),
            place + "unknown change 'gone'; expected one of allPublished, allUnpublished");
  EXPECT_EQ(complaintAbout(event(R"("kind":"endpoint","change":"up","endpoint":1)")),
            place + "unknown change 'up'; expected one of bound, stillBound, connected, stillConnected");
  EXPECT_EQ(complaintAbout(event(R"("kind":"endpoint","change":null,"endpoint":1)")),
            place + "'change' is null; expected a string");
  EXPECT_EQ(complaintAbout(event(R"("kind":"endpoint","change":"bound")")), place + "no 'endpoint'; expected one");
  EXPECT_EQ(complaintAbout(event(R"("kind":"endpoint","change":"bound","endpoint":{"k":1,"K":2})")),
            place + "the key 'K' is given twice, as 'k' before; expected keys that differ in more than case");
  EXPECT_EQ(complaintAbout(event(R"("kind":"error","error":[])")), place + "'error' is an array; expected a string");
}

TEST(ARecording, HasWholeNumbersOnly) {
  const auto complaintAboutRevision = [](const std::string& number) {
    return complaintAbout(R"({"kind":"error","time":"t","publisher":"p","error":"e","revision":)" + number + "}");
  };
  EXPECT_EQ(complaintAboutRevision("0"), "no complaint");
  EXPECT_EQ(complaintAboutRevision("4294967295"), "no complaint");
  for (const std::string number : {"-1", "1.0", "1e3", "4294967296"}) {
    EXPECT_EQ(complaintAboutRevision(number),
              "recording.jsonl:2: 'revision' is " + number + "; expected a whole number from 0 to 4294967295");
  }
  EXPECT_EQ(complaintAboutRevision(R"("1")"),
            "recording.jsonl:2: 'revision' is a string; expected a whole number from 0 to 4294967295");
  EXPECT_EQ(complaintAbout(R"({"kind":"dropped","time":"t","count":-1})"),
            "recording.jsonl:2: 'count' is -1; expected a whole number from 0 to 18446744073709551615");
  EXPECT_EQ(complaintAbout(R"({"kind":"other","time":"t","number":2})"),
            "recording.jsonl:2: 'number' is 2, a kind that has lines of its own; expected another one");
  EXPECT_EQ(complaint(R"({"version":1,"kind":"configuration","time":"t","revision":0})"
                      "\n"),
            "recording.jsonl:1: 'revision' of a configuration is 0; expected a whole number from 1 on");
}

}  // namespace spf::test
