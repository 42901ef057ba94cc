#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>

#include "display/terminalText.hpp"
#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class SpfctlRun : public testing::Test {
 protected:
  static std::string publisher(const std::string& id, const std::string& bind, const std::string& connect = "",
                               const std::string& name = "rpcservicepublisher") {
    return R"({"uniqueID": ")" + id + R"(", "name": ")" + name + R"(", "endpointsToBindTo": [)" + bind +
           R"(], "endpointsToConnectTo": [)" + connect + "]}";
  }
  static std::string quoted(const std::string& endpoint) { return '"' + endpoint + '"'; }

  // A configuration with these publishers, each of which serves the interface "i" of that name.
  std::string configuration(const std::vector<std::string>& publishers, const std::string& mappings = "",
                            const std::string& interfaceName = "weather.Temperature") {
    std::string list;
    for (const auto& entry : publishers) {
      list += (list.empty() ? "" : ",\n") + entry;
    }
    return workspace_.write("configuration.json",
                            R"({"configurationID": "x", "serviceInterfaces": [{"uniqueID": "i", "name": ")" +
                                interfaceName + R"("}], "servicePublishers": [)" + list + R"(], "serviceMappings": [)" +
                                mappings + "]}");
  }
  // Without a control socket, since the tests that run at the same time have one ID. A host that is killed leaves the
  // folder that it has made for its framework, so it makes that in the workspace.
  Arguments command(const std::string& file, const Arguments& more = {}) const {
    Arguments arguments = {"/usr/bin/env", "TMPDIR=" + workspace_.path().string(), SPFCTL, "run", file, "--no-control"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  struct Result {
    int code;
    std::string out;
    std::string err;
  };
  Result run(const std::string& file, const Arguments& more = {}) const {
    Process process(command(file, more));
    const int code = process.wait();
    return {code, process.out(), process.err()};
  }
  // For configurations of which nothing is to be published.
  Result runText(const std::string& text) { return run(workspace_.write("bad.json", text)); }

  Workspace workspace_;
};

TEST_F(SpfctlRun, OnceEndsWithZeroWhenEverythingIsReadyAndLeavesNoSocketBehind) {
  const auto endpoint = freeEndpoint();
  const auto result = run(configuration({publisher("p", quoted(endpoint))}), {"--once"});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("p: ready\nready: x\nwithdrawn\n"));
  EXPECT_EQ(result.err, "");
  EXPECT_FALSE(isOpen(endpoint));
}

TEST_F(SpfctlRun, StaysUntilItIsInterruptedAndThenEndsWithZero) {
  const auto endpoint = freeEndpoint();
  for (const auto number : {SIGINT, SIGTERM}) {
    Process process(command(configuration({publisher("p", quoted(endpoint))})));
    ASSERT_TRUE(process.waitForOutput("ready: x"));
    EXPECT_TRUE(isOpen(endpoint));
    process.signal(number);
    EXPECT_EQ(process.wait(), 0) << process.err();
    EXPECT_THAT(process.out(), HasSubstr("withdrawn"));
    EXPECT_FALSE(isOpen(endpoint));
  }
}

TEST_F(SpfctlRun, LetsTwoProcessesConnectAndTellsWhatTheOtherAnswers) {
  const auto a = freeEndpoint();
  const auto b = freeEndpoint();
  const std::string mapping = R"({"serviceInterfaceID": "i", "servicePublisherID": ")";
  Process first(command(configuration({publisher("first", quoted(a), quoted(b))}, mapping + "first\"}")));
  ASSERT_TRUE(first.waitForOutput("first: to connect " + b));
  Process second(command(configuration({publisher("second", quoted(b), quoted(a))}, mapping + "second\"}")));
  ASSERT_TRUE(first.waitForOutput("the peer at " + b + " answers: second publishes i (weather.Temperature)\n"))
      << first.out();
  ASSERT_TRUE(second.waitForOutput("the peer at " + a + " answers: first publishes i (weather.Temperature)\n"))
      << second.out();
  for (auto* process : {&first, &second}) {
    process->signal(SIGINT);
    EXPECT_EQ(process->wait(), 0) << process->err();
  }
}

TEST_F(SpfctlRun, GivesBundlesThePropertiesOfTheCommandLine) {
  const auto endpoint = freeEndpoint();
  const auto file =
      configuration({publisher("station", quoted(endpoint)), publisher("curious", "", quoted("some.name"))});
  const auto result = run(file, {"--once", "--property", R"(spf.discovery={"some.name": ")" + endpoint + "\"}"});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("curious: ready\n"));
}

TEST_F(SpfctlRun, LooksNamesUpInATable) {
  const auto endpoint = freeEndpoint();
  const auto table = workspace_.write("table.json", R"({"some.name": [")" + endpoint + "\"]}");
  const auto file =
      configuration({publisher("station", quoted(endpoint)), publisher("curious", "", quoted("some.name"))});
  const auto result = run(file, {"--once", "--discovery", "table:" + table});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("curious: ready\n"));
}

TEST_F(SpfctlRun, EndsWithThreeAndThePlaceOfWhateverIsWrongInATable) {
  const auto table = workspace_.write("table.json", R"({"some.name": "tcp://nowhere"})");
  const auto result = run(configuration({publisher("p", "")}), {"--discovery", "table:" + table});
  EXPECT_EQ(result.code, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("table.json:1:15: "));
  EXPECT_THAT(result.err, HasSubstr("tcp://nowhere"));
}

TEST_F(SpfctlRun, TellsWhyAPeerGivesNoAnswer) {
  const auto endpoint = freeEndpoint();
  const auto silent = publisher("silent", quoted(endpoint), "", "legacyservicepublisher");
  const auto result = run(configuration({silent, publisher("curious", "", quoted(endpoint))}), {"--once"});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("no answer: publisher 'curious', endpoint '" + endpoint + "': "));
}

TEST_F(SpfctlRun, PublishesAConfigurationWithoutPublishersAndOneWithoutAnID) {
  EXPECT_EQ(run(configuration({}), {"--once"}).code, 0);
  const auto result = run(workspace_.write("bare.json", "{}"), {"--once"});
  EXPECT_EQ(result.code, 0);
  EXPECT_NE(result.out, "ready: \nwithdrawn\n");
}

TEST_F(SpfctlRun, BringsTheFrameworkUpFirstWhenAsked) {
  const auto result = run(configuration({publisher("p", quoted(freeEndpoint()))}), {"--once", "--setup"});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("withdrawn"));
}

TEST_F(SpfctlRun, ShowsTheLibrarysLogRecordsWhenAsked) {
  const auto endpoint = freeEndpoint();
  const auto result = run(configuration({publisher("p", quoted(endpoint))}), {"--once", "--log", "progress"});
  EXPECT_THAT(result.err,
              HasSubstr("log agent::spf::frameworksetup 4: ConfigTracker completeEndpointBind " + endpoint + "\n"));
  EXPECT_THAT(result.err, HasSubstr("4: About to remove spf configuration for x\n"));
}

TEST_F(SpfctlRun, ShowsWarningsUnlessToldNotTo) {
  const auto file = configuration({publisher("p", quoted(freeEndpoint()))});
  EXPECT_EQ(run(file, {"--once", "--property", "spf.advertise=*"}).err,
            "spfctl: warning: the framework property 'spf.advertise' is not used: '*' is no host to connect to; "
            "expected a name or a number\n");
  EXPECT_EQ(run(file, {"--once", "--property", "spf.advertise=*", "--log", "none"}).err, "");
}

// What waited for each other took half a second for each: the limit leaves no time for that.
TEST_F(SpfctlRun, BindsManyWildcardPortsWithoutWaiting) {
  std::vector<std::string> publishers;
  for (int i = 0; i < 20; ++i) {
    publishers.push_back(publisher("p" + std::to_string(i), quoted("tcp://127.0.0.1:*")));
  }
  const auto result = run(configuration(publishers), {"--once", "--timeout", "5s"});
  EXPECT_EQ(result.code, 0) << result.err;
}

std::string underDescriptorLimits(const std::string& limits, const Arguments& command) {
  std::string line = "ulimit " + limits + " && exec";
  for (const auto& argument : command) {
    line += " '" + argument + "'";
  }
  return line;
}

std::string wildcardPorts(int count) {
  std::string endpoints = "\"tcp://127.0.0.1:*\"";
  for (int i = 1; i < count; ++i) {
    endpoints += ", \"tcp://127.0.0." + std::to_string(1 + i) + ":*\"";
  }
  return endpoints;
}

TEST_F(SpfctlRun, RaisesItsSoftLimitOfFileDescriptors) {
  const auto file = configuration({publisher("p", wildcardPorts(100))});
  Process process({"/bin/sh", "-c", underDescriptorLimits("-Sn 64", command(file, {"--once"}))});
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_THAT(process.out(), HasSubstr("p: ready\n"));
}

TEST_F(SpfctlRun, NamesTheLimitOfFileDescriptorsWhenItIsReached) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  const auto file = configuration({publisher("p", wildcardPorts(100))});
  Process process({"/bin/sh", "-c", underDescriptorLimits("-Sn 128 && ulimit -Hn 128", command(file))});
  EXPECT_EQ(process.wait(), 5) << process.err();
  EXPECT_THAT(process.err(), HasSubstr("the process has reached its limit of 128 open files"));
}

TEST_F(SpfctlRun, DrawsABlockOnATerminal) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here: " << reason;
  }
  Process process(command(configuration({publisher("p", quoted(freeEndpoint()))}), {"--once"}),
                  Process::Stdout::terminal);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_THAT(process.out(), HasSubstr("p  ready "));
}

// On a terminal both streams go to the same place.
TEST_F(SpfctlRun, WritesLogRecordsInThePlaceOfTheBlockWhichFollowsThem) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here: " << reason;
  }
  const auto endpoint = freeEndpoint();
  const auto waiting = freeEndpoint();
  Arguments arguments = command(configuration({publisher("p", quoted(endpoint), quoted(waiting))}), {"--log", "all"});
  arguments.insert(arguments.begin(), {"/bin/sh", "-c", "exec \"$@\" 3>&2 2>&1", "sh"});
  Process process(arguments, Process::Stdout::terminal);
  const auto record = "log agent::spf::frameworksetup 4: ConfigTracker completeEndpointBind " + endpoint + "\r\n";
  ASSERT_TRUE(process.waitForOutput(record)) << process.out();
  ASSERT_TRUE(process.waitForNextOutput("to connect " + waiting + ": opening"));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 128 + SIGINT);
  const auto& out = process.out();
  const auto before = out.substr(0, out.find(record));
  EXPECT_TRUE(std::regex_search(before, std::regex("(^|\x1b\\[[0-9]+A\x1b\\[J)(log [^\n]*\n)*$"))) << before;
  const auto after = out.substr(before.size() + record.size());
  EXPECT_TRUE(std::regex_search(after, std::regex("^(log [^\n]*\n)*p  waiting "))) << after;
  EXPECT_THAT(out, HasSubstr("4: About to remove spf configuration for x\r\nwithdrawn\r\n"));
}

// The lines of a block that is redrawn, each as the terminal got it, without colours.
std::vector<std::string> drawnLines(std::string text) {
  static const std::regex commands("\x1b\\[[0-9]*[A-Za-z]|\r");
  text = std::regex_replace(text, commands, "");
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

class SpfctlRunOnATerminal : public SpfctlRun, public testing::WithParamInterface<std::pair<int, int>> {};

TEST_P(SpfctlRunOnATerminal, FitsItsWidthAndHeight) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here: " << reason;
  }
  const auto [columns, rows] = GetParam();
  std::vector<std::string> publishers;
  for (int index = 0; index < 8; ++index) {
    publishers.push_back(
        publisher("\u6e29\u5ea6" + std::to_string(index), quoted(freeEndpoint()), quoted(freeEndpoint())));
  }
  Process process(command(configuration(publishers), {"--timeout", "300ms"}), Process::Stdout::terminal,
                  {columns, rows});
  EXPECT_EQ(process.wait(), 4);
  const auto& out = process.out();
  for (const auto& line : drawnLines(out)) {
    EXPECT_LT(spfctl::columnsOf(line), static_cast<std::size_t>(columns)) << line;
  }
  // What is redrawn is a whole block: as many rows up as it has lines.
  static const std::regex redrawing("\x1b\\[([0-9]+)A\x1b\\[J");
  auto block = out.cbegin();
  for (std::sregex_iterator redraw(out.begin(), out.end(), redrawing); redraw != std::sregex_iterator(); ++redraw) {
    const auto lines = std::count(block, (*redraw)[0].first, '\n');
    EXPECT_EQ(std::to_string(lines), (*redraw)[1].str());
    EXPECT_LT(lines, rows);
    block = (*redraw)[0].second;
  }
  EXPECT_LE(std::count(block, out.cend(), '\n'), rows) << "the last block and a line";
}

INSTANTIATE_TEST_SUITE_P(OfSize, SpfctlRunOnATerminal,
                         testing::Values(std::pair(40, 5), std::pair(40, 50), std::pair(80, 5), std::pair(80, 50),
                                         std::pair(200, 5), std::pair(200, 50)),
                         [](const auto& size) {
                           return std::to_string(size.param.first) + "By" + std::to_string(size.param.second);
                         });

TEST_F(SpfctlRun, RedrawsWhenItsTerminalChangesItsSize) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here: " << reason;
  }
  const std::string longEndpoint = "inproc://" + std::string(100, 'x');
  Process process(command(configuration({publisher("p", quoted(freeEndpoint()), quoted(longEndpoint))})),
                  Process::Stdout::terminal, {80, 24});
  ASSERT_TRUE(process.waitForOutput("  to connect inproc://" + std::string(30, 'x')));
  process.resize({40, 24});
  ASSERT_TRUE(process.waitForOutput("  to connect inproc://" + std::string(16, 'x') + "\u2026"));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 128 + SIGINT);
}

TEST_F(SpfctlRun, ShowsConnectionsThatAreLostAndRegained) {
  const auto address = freeEndpoint();
  Process first(command(configuration({publisher("first", quoted(freeEndpoint()), quoted(address))})));
  ASSERT_TRUE(first.waitForOutput("first: to connect " + address));
  const auto peer = [&] { return command(configuration({publisher("second", quoted(address))})); };
  {
    Process second(peer());
    ASSERT_TRUE(first.waitForOutput("ready: x\n"));
    ASSERT_TRUE(second.waitForOutput("ready: x\n"));
    second.signal(SIGINT);
    EXPECT_EQ(second.wait(), 0);
    ASSERT_TRUE(first.waitForOutput("first: to connect " + address + ": lost"));
  }
  Process again(peer());
  ASSERT_TRUE(first.waitForOutput("first: up: " + address + "\n"));
}

TEST_F(SpfctlRun, WithdrawsWhenNobodyReadsItsOutputAnyMore) {
  const auto address = freeEndpoint();
  std::string line;
  for (const auto& argument : command(configuration({publisher("p", quoted(address), quoted(freeEndpoint()))}))) {
    line += "'" + argument + "' ";
  }
  // The shell's own standard output stays; that of the tool is a pipe whose reader ends after one line.
  Process process({"/bin/bash", "-c", line + " | head -n 1; exit ${PIPESTATUS[0]}"});
  EXPECT_EQ(process.wait(), 128 + SIGPIPE) << process.err();
  EXPECT_FALSE(isOpen(address));
}

TEST_F(SpfctlRun, PrintsNoProgressWhenItIsQuiet) {
  const auto result = run(configuration({publisher("p", quoted(freeEndpoint()))}), {"--once", "--quiet"});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "ready: x\nwithdrawn\n");
}

TEST_F(SpfctlRun, EndsWithFourAndListsWhatIsOutstandingWhenAPeerIsUnreachable) {
  const auto nobody = freeEndpoint();
  const auto result = run(
      configuration({publisher("p", quoted(freeEndpoint()), quoted(nobody)), publisher("q", quoted(freeEndpoint()))}),
      {"--timeout", "700ms"});
  EXPECT_EQ(result.code, 4);
  EXPECT_THAT(result.err, HasSubstr("spfctl: not ready: p: to connect " + nobody + "\n"));
  EXPECT_THAT(result.err, HasSubstr("spfctl: not ready: p: to connect " + nobody + ": opening, "));
  EXPECT_THAT(result.out, HasSubstr("q: ready\n"));
  EXPECT_THAT(result.out, HasSubstr("withdrawn"));
}

TEST_F(SpfctlRun, LooksOnceWhenTheTimeOutIsZero) {
  const auto result =
      run(configuration({publisher("p", quoted(freeEndpoint()), quoted(freeEndpoint()))}), {"--timeout", "0s"});
  EXPECT_EQ(result.code, 4);
  EXPECT_THAT(result.out, HasSubstr("withdrawn"));
}

TEST_F(SpfctlRun, EndsWithTheSignalsCodeWhenInterruptedBeforeEverythingIsReady) {
  for (const auto number : {SIGINT, SIGTERM}) {
    const auto endpoint = freeEndpoint();
    Process process(command(configuration({publisher("p", quoted(endpoint), quoted(freeEndpoint()))})));
    ASSERT_TRUE(process.waitForOutput("p: to connect"));
    process.signal(number);
    EXPECT_EQ(process.wait(), 128 + number);
    EXPECT_THAT(process.out(), HasSubstr("withdrawn"));
    EXPECT_FALSE(isOpen(endpoint));
  }
}

TEST_F(SpfctlRun, WithdrawsWhenItsTerminalIsClosed) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "no pseudo-terminal can be opened here: " << reason;
  }
  for (const bool isReady : {false, true}) {
    const auto endpoint = freeEndpoint();
    const auto entry = publisher("p", quoted(endpoint), isReady ? "" : quoted(freeEndpoint()));
    Process process(command(configuration({entry}), {"--log", "progress"}), Process::Stdout::controllingTerminal);
    ASSERT_TRUE(process.waitForOutput(isReady ? "ready: x" : "  to connect")) << process.err();
    process.signal(SIGHUP);
    EXPECT_EQ(process.wait(), isReady ? 0 : 128 + SIGHUP) << process.err();
    EXPECT_FALSE(isOpen(endpoint));
  }
}

TEST_F(SpfctlRun, OutlivesItsTerminalWhenItIsStartedByNohup) {
  auto arguments = command(configuration({publisher("p", quoted(freeEndpoint()), quoted(freeEndpoint()))}));
  arguments.insert(arguments.begin(), "/usr/bin/nohup");
  Process process(arguments);
  ASSERT_TRUE(process.waitForOutput("p: to connect"));
  process.signal(SIGHUP);
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

TEST_F(SpfctlRun, EndsAtOnceWhenInterruptedAtItsVeryBeginning) {
  Process process(command(configuration({publisher("p", quoted(freeEndpoint()), quoted(freeEndpoint()))})));
  process.signal(SIGINT);
  const int code = process.wait();
  // Killed by the signal if it came before the process listened for signals.
  EXPECT_TRUE(code == 130 || code == 1000 + SIGINT) << code;
}

// One publisher that cannot work and one that can: the framework's error, and the other unaffected.
class SpfctlRunRefused : public SpfctlRun, public testing::WithParamInterface<const char*> {};

const char* const unusableEndpoints[] = {"no endpoint", "tcp://127.0.0.1", "tcp://127.0.0.1:99999",
                                         "tcp://127.0.0.1:port", "carrier-pigeon://roof"};

INSTANTIATE_TEST_SUITE_P(ByTheFramework, SpfctlRunRefused, testing::ValuesIn(unusableEndpoints),
                         [](const auto& endpoint) {
                           std::string name = endpoint.param;
                           std::replace_if(
                               name.begin(), name.end(), [](unsigned char byte) { return std::isalnum(byte) == 0; },
                               '_');
                           return name;
                         });

TEST_P(SpfctlRunRefused, EndsWithFiveAndNamesPublisherAndEndpoint) {
  const auto result =
      run(configuration({publisher("bad", quoted(GetParam())), publisher("good", quoted(freeEndpoint()))}));
  EXPECT_EQ(result.code, 5) << result.err;
  EXPECT_EQ(result.err.rfind("spfctl: refused by the framework: bad: failed: ", 0), 0u) << result.err;
  EXPECT_THAT(result.err, HasSubstr(GetParam()));
  EXPECT_THAT(result.out, HasSubstr("good: ready\n"));
  EXPECT_THAT(result.out, HasSubstr("withdrawn"));
}

TEST_P(SpfctlRunRefused, EndsWithFiveForAnEndpointToConnectToAsWell) {
  const auto result =
      run(configuration({publisher("bad", "", quoted(GetParam())), publisher("good", quoted(freeEndpoint()))}));
  EXPECT_EQ(result.code, 5) << result.err;
  EXPECT_THAT(result.err, HasSubstr(GetParam()));
  EXPECT_THAT(result.out, HasSubstr("good: ready\n"));
}

TEST_F(SpfctlRun, EndsWithFiveWhenAPortIsTaken) {
  const ListeningSocket taken;
  const auto result =
      run(configuration({publisher("bad", quoted(taken.endpoint())), publisher("good", quoted(freeEndpoint()))}));
  EXPECT_EQ(result.code, 5);
  EXPECT_THAT(result.err, HasSubstr("bad"));
  EXPECT_THAT(result.err, HasSubstr(taken.endpoint()));
  EXPECT_THAT(result.err, HasSubstr("in use"));
  EXPECT_THAT(result.out, HasSubstr("good: ready\n"));
}

TEST_F(SpfctlRun, EndsWithFiveForEndpointsThatAreNoText) {
  for (const auto* endpoint : {"7", "true", "null", "[1]", "{\"a\": 1}", "1.5"}) {
    const auto result = run(configuration({publisher("bad", endpoint), publisher("good", quoted(freeEndpoint()))}));
    EXPECT_EQ(result.code, 5) << endpoint << result.err;
    EXPECT_THAT(result.err, HasSubstr("bad: failed: ")) << endpoint;
    EXPECT_THAT(result.out, HasSubstr("good: ready\n")) << endpoint;
  }
}

TEST_F(SpfctlRun, EndsWithFiveAndNamesTheInterfaceThatNobodyOffers) {
  const auto result =
      run(configuration({publisher("bad", quoted(freeEndpoint())), publisher("good", quoted(freeEndpoint()))},
                        R"({"serviceInterfaceID": "i", "servicePublisherID": "bad"})", "no.Such"));
  EXPECT_EQ(result.code, 5) << result.err;
  EXPECT_THAT(result.err, HasSubstr("no.Such"));
  EXPECT_THAT(result.out, HasSubstr("good: ready\n"));
}

// The next ones publish nothing at all: nothing on standard output, the reason on standard error.

TEST_F(SpfctlRun, EndsWithThreeAndThePlaceOfWhateverIsWrongInTheFile) {
  const std::pair<const char*, const char*> cases[] = {
      {"{", ":1:2: syntax error"},
      {"{\"a\": 1}", ":1:2: unknown key 'a'"},
      {"{\"configurationID\": \"a\", \"configurationID\": \"b\"}", ":1:26: the key 'configurationID' is given twice"},
      {"{\"configurationID\": 1}", ":1:21: found a number; expected a string"},
      {"{} /*", ":1:"},
      {"{\"servicePublishers\": [{\"name\": \"n\"}]}", ":1:24: a service publisher has no 'uniqueID'"},
      {"{\"servicePublishers\": [{\"uniqueID\": \"p\", \"name\": \"n\"}, {\"uniqueID\": \"p\", \"name\": \"n\"}]}",
       ":1:56: the uniqueID 'p' is given twice"}};
  for (const auto& [text, place] : cases) {
    const auto result = runText(text);
    EXPECT_EQ(result.code, 3) << text;
    EXPECT_EQ(result.out, "") << text;
    EXPECT_THAT(result.err, HasSubstr("bad.json" + std::string(place))) << text;
  }
}

TEST_F(SpfctlRun, EndsWithThreeAndTheLibrarysTextForAMappingThatDangles) {
  const auto file = [this](const char* mapping) { return configuration({publisher("p", "")}, mapping); };
  auto result = run(file(R"({"serviceInterfaceID": "nobody", "servicePublisherID": "p"})"));
  EXPECT_EQ(result.code, 3);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("ServiceMapping references an unknown ServiceInterface Configuration nobody;"));
  result = run(file(R"({"serviceInterfaceID": "i", "servicePublisherID": "nobody"})"));
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("ServiceMapping references an unknown ServicePublisher Configuration nobody;"));
}

TEST_F(SpfctlRun, EndsWithThreeForAFileThatIsNotThereAndForADirectory) {
  auto result = run("/does/not/exist.json");
  EXPECT_EQ(result.code, 3);
  EXPECT_EQ(result.err, "spfctl: /does/not/exist.json: cannot be read: No such file or directory\n");
  result = run(workspace_.path().string());
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("is a directory"));
}

TEST_F(SpfctlRun, EndsWithTwoForAWrongCommandLine) {
  const auto result = run("file.json", {"--fast"});
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("unknown option '--fast'"));
}

TEST_F(SpfctlRun, PrintsItsUsageWhenAsked) {
  const auto result = run("--help");
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("Usage: spfctl run FILE"));
}

TEST_F(SpfctlRun, WarnsOfARootThatHoldsNoBundle) {
  const auto result = run(configuration({publisher("p", "")}), {"--root", workspace_.path(), "--timeout", "0s"});
  EXPECT_EQ(result.code, 4);
  EXPECT_THAT(result.err, HasSubstr("spfctl: warning: no bundle of the framework in " +
                                    (workspace_.path() / "bin/win64/spf").string() + "\n"));
}

TEST_F(SpfctlRun, EndsWithOneAndNamesTheBundleFileThatIsCutOffOrHasNoManifest) {
  const auto root = workspace_.path() / "tree";
  for (const auto* content : {"", "PK\x03\x04 cut off", "no archive at all"}) {
    const auto file = workspace_.write("tree/bin/win64/spf/providers/broken.so", content);
    const auto result = run(configuration({publisher("p", "")}), {"--root", root.string()});
    EXPECT_EQ(result.code, 1) << content;
    EXPECT_EQ(result.out, "") << content;
    EXPECT_THAT(result.err, HasSubstr(file)) << content;
  }
}

TEST_F(SpfctlRun, EndsWithOneAndNamesTheBundleFileThatWasCutOffInTheMiddle) {
  const auto root = workspace_.path() / "tree";
  const auto file = workspace_.write("tree/bin/win64/spf/providers/half.so", "");
  std::filesystem::copy_file(THROWING_BUNDLE, file, std::filesystem::copy_options::overwrite_existing);
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 30);
  const auto result = run(configuration({publisher("p", "")}), {"--root", root.string()});
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr(file));
}

TEST_F(SpfctlRun, EndsWithOneAndNamesABundleWhoseActivatorThrows) {
  const auto root = workspace_.path() / "tree";
  const auto file = workspace_.write("tree/bin/win64/spf/providers/throwing.so", "");
  std::filesystem::copy_file(THROWING_BUNDLE, file, std::filesystem::copy_options::overwrite_existing);
  const auto result = run(configuration({publisher("p", "")}), {"--root", root.string()});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr(file));
  EXPECT_THAT(result.err, HasSubstr("the activator refuses"));
}

}  // namespace spf::test
