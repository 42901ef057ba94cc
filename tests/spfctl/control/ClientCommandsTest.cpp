#include <gmock/gmock.h>
#include <unistd.h>

#include <deque>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "commands/clients.hpp"
#include "control/ControlServer.hpp"
#include "control/RawClient.hpp"
#include "control/protocol.hpp"
#include "spf/test/Gate.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using namespace spfctl;
using nlohmann::json;
using nlohmann::ordered_json;
using testing::HasSubstr;

namespace {

/// A host that answers every request with one text.
class ScriptedHost {
 public:
  ScriptedHost(const ControlFolder& folder, const std::string& name, const std::string& answer)
      : server_(folder, name) {
    server_.start([this, answer](const json& request, const std::shared_ptr<Reply>& reply) {
      request_ = request.dump();
      reply->finish(ordered_json::parse(answer));
      received_.open();
    });
  }

  // Blocks until a request has arrived.
  std::string request() {
    EXPECT_TRUE(received_.wait());
    return request_;
  }

 private:
  Gate received_;
  std::string request_;
  ControlServer server_;
};

const auto statusAnswer = R"({"version":1,"ok":true,
  "host":{"name":"h","process":7,"started":"then"},
  "configuration":{"id":"c","revision":2,"state":"waiting","since":"now","file":"/f\u001b.json","lastError":"e"},
  "publishers":[
    {"id":"p","state":"waiting","servicesPublished":false,"error":"","endpoints":[
      {"direction":"bind","endpoint":"tcp://*:1","phase":"up","address":"tcp://0.0.0.0:1","reason":""},
      {"direction":"connect","endpoint":"tcp://b:22","phase":"opening","address":"tcp://b:22","reason":"refused"}]},
    {"id":"q","state":"failed","servicesPublished":true,"error":"broken","endpoints":[]}],
  "bundles":[{"symbolicName":"b","version":"1.0.0","state":"active","file":"/b"},
             {"symbolicName":"longer","version":"1.0.0","state":"active","file":"/b"}]})";

class TheClients : public testing::Test {
 protected:
  StatusOptions status(const std::string& host = "h") const {
    StatusOptions options;
    options.host = {host, folder_.path()};
    options.timeout = patience;
    return options;
  }
  std::string printed() const { return out_.str(); }

  const Workspace workspace_;
  const ControlFolder folder_{workspace_.path() / "hosts", ControlFolder::Purpose::serve};
  std::ostringstream out_;
  std::ostringstream err_;
  const Output output_{out_, err_};
};

}  // namespace

TEST_F(TheClients, PrintAHostWithEverythingThatItSays) {
  const ScriptedHost host(folder_, "h", statusAnswer);
  EXPECT_EQ(spfctl::status(status(), output_), ExitCode::done);
  EXPECT_EQ(printed(),
            "host           h (process 7, since then)\n"
            "configuration  c: waiting\n"
            "revision       2 (since now)\n"
            "file           /f\\x1b.json\n"
            "last error     e\n"
            "publishers\n"
            "  p  waiting: services not published\n"
            "    bind     tcp://*:1   up       tcp://0.0.0.0:1\n"
            "    connect  tcp://b:22  opening  refused\n"
            "  q  failed: broken\n"
            "bundles\n"
            "  b       1.0.0  active\n"
            "  longer  1.0.0  active\n");
}

TEST_F(TheClients, PrintWhomAHostHasRefused) {
  const ScriptedHost host(folder_, "h", R"({"version":1,"ok":true,"publishers":[
    {"id":"p","state":"ready","servicesPublished":true,"error":"","endpoints":[
      {"direction":"bind","endpoint":"tcp://*:1","phase":"up","address":"tcp://0.0.0.0:1","reason":"",
       "refusedHandshakes":3,"lastRefusal":"key unknown"},
      {"direction":"bind","endpoint":"tcp://b:2","phase":"up","address":"tcp://b:2","reason":"",
       "refusedHandshakes":1,"lastRefusal":"no\u001b encryption"},
      {"direction":"bind","endpoint":"tcp://b:3","phase":"up","address":"tcp://b:3","reason":"",
       "refusedHandshakes":0,"lastRefusal":""},
      {"direction":"bind","endpoint":"tcp://b:4","phase":"up","address":"tcp://b:4","reason":"",
       "refusedHandshakes":-1,"lastRefusal":"nonsense"}]}]})");
  EXPECT_EQ(spfctl::status(status(), output_), ExitCode::done);
  EXPECT_THAT(printed(),
              HasSubstr("    bind  tcp://*:1  up  tcp://0.0.0.0:1 (3 handshakes refused, last: key unknown)\n"
                        "    bind  tcp://b:2  up  (1 handshake refused, last: no\\x1b encryption)\n"
                        "    bind  tcp://b:3  up\n"
                        "    bind  tcp://b:4  up\n"));
}

TEST_F(TheClients, PrintWhyAPeerRefusesAHost) {
  const ScriptedHost host(folder_, "h", R"json({"version":1,"ok":true,"publishers":[
    {"id":"p","state":"waiting","servicesPublished":true,"error":"","endpoints":[
      {"direction":"connect","endpoint":"tcp://b:1#b","phase":"opening","address":"tcp://b:1","reason":"refused"},
      {"direction":"connect","endpoint":"tcp://b:2#b","phase":"lost","address":"tcp://b:2","reason":"no encryption"},
      {"direction":"connect","endpoint":"b","phase":"opening","address":"tcp://b:3",
       "reason":"handshake broken off (wrong server key, or not a peer)"},
      {"direction":"connect","endpoint":"tcp://b:4#c","phase":"opening","address":"tcp://b:4",
       "reason":"no key of 'c' is trusted"},
      {"direction":"connect","endpoint":"tcp://b:5#b","phase":"up","address":"tcp://b:5","reason":""}]}]})json");
  EXPECT_EQ(spfctl::status(status(), output_), ExitCode::done);
  EXPECT_THAT(
      printed(),
      HasSubstr("    connect  tcp://b:1#b  opening  refused\n"
                "    connect  tcp://b:2#b  lost     no encryption\n"
                "    connect  b            opening  tcp://b:3: handshake broken off (wrong server key, or not a peer)\n"
                "    connect  tcp://b:4#c  opening  no key of 'c' is trusted\n"
                "    connect  tcp://b:5#b  up\n"));
}

TEST_F(TheClients, PrintATableOfAllHosts) {
  const ScriptedHost one(folder_, "h", statusAnswer);
  const ScriptedHost another(folder_, "strange", R"({"version":1,"ok":true,"publishers":7})");
  EXPECT_EQ(spfctl::status(status(""), output_), ExitCode::done);
  EXPECT_EQ(printed(),
            "NAME     STATE    REVISION  SINCE  READY   PROCESS  FILE\n"
            "h        waiting  2         now    0 of 2  7        /f\\x1b.json\n"
            "strange           -                0 of 1  -\n");
}

TEST_F(TheClients, PrintAHostAsJson) {
  const ScriptedHost host(folder_, "h", statusAnswer);
  auto options = status();
  options.json = true;
  EXPECT_EQ(spfctl::status(options, output_), ExitCode::done);
  auto expected = json::parse(statusAnswer);
  expected.erase("version");
  expected.erase("ok");
  expected["format_version"] = 1;
  EXPECT_EQ(json::parse(printed()), expected);
}

TEST_F(TheClients, SayThatThereIsNoHost) {
  EXPECT_EQ(spfctl::status(status(""), output_), ExitCode::done);
  EXPECT_EQ(err_.str(), "spfctl status: no host in " + folder_.path().string() + '\n');
  EXPECT_EQ(spfctl::status(status(), output_), ExitCode::failedAtRunTime);
  EXPECT_THAT(err_.str(), HasSubstr("spfctl status: no host named 'h' in "));
}

TEST_F(TheClients, TakeTheCodeOfAnAnswerAndPrintAllOfItsReasons) {
  const ScriptedHost host(folder_, "h",
                          R"({"ok":false,"code":5,"error":"refused","messages":["a\n",1],"recovery":"r"})");
  const auto file = workspace_.write("c.json", "{}");
  EXPECT_EQ(apply({{"h", folder_.path()}, file, patience, true}, output_), ExitCode::refusedByFramework);
  EXPECT_EQ(err_.str(), "spfctl apply: refused\n  a\\x0a\n  \nspfctl apply: r\n");
  EXPECT_EQ(printed(), "");
}

TEST_F(TheClients, TakeAnUnknownCodeForAFailure) {
  for (const auto* answer :
       {R"({"ok":false,"code":77})", R"({"ok":false,"code":"5"})", R"({"ok":false})", "{}", R"({"ok":"yes"})"}) {
    const ScriptedHost host(folder_, "h", answer);
    EXPECT_EQ(log({{"h", folder_.path()}, 4}, output_), ExitCode::failedAtRunTime) << answer;
  }
}

TEST_F(TheClients, SendAConfigurationWithItsTextAndItsFile) {
  ScriptedHost host(folder_, "h", R"({"ok":true,"id":"c","revision":2})");
  const auto file = workspace_.write("c.json", "{}\n");
  EXPECT_EQ(apply({{"h", folder_.path()}, file, std::chrono::milliseconds(7), true}, output_), ExitCode::done);
  EXPECT_EQ(
      json::parse(host.request()),
      (json{
          {"version", 1}, {"request", "apply"}, {"file", file}, {"text", "{}\n"}, {"timeout", 7}, {"rollback", true}}));
  EXPECT_EQ(printed(), "ready: c, revision 2\n");
}

TEST_F(TheClients, PrintTheAnswersOfPeersForATerminal) {
  const ScriptedHost host(folder_, "h", R"({"ok":true,"answers":["one","two\u001b"]})");
  EXPECT_EQ(ask({{"h", folder_.path()}, "tcp://a:1", patience}, output_), ExitCode::done);
  EXPECT_EQ(printed(), "one\ntwo\\x1b\n");
}

TEST_F(TheClients, WaitUntilAHostHasGone) {
  auto host = std::make_unique<ScriptedHost>(folder_, "h", R"({"ok":true})");
  auto options = status();
  options.awaited = StatusOptions::Awaited::withdrawn;
  auto waiting = std::async(std::launch::async, [&] { return spfctl::status(options, output_); });
  host->request();
  host.reset();
  EXPECT_EQ(waiting.get(), ExitCode::done);
  EXPECT_EQ(spfctl::status(options, output_), ExitCode::done);
}

TEST_F(TheClients, DoNotTakeAHostThatHasTooManyClientsForOneThatHasGone) {
  Counter waiting;
  std::vector<std::shared_ptr<Reply>> replies;
  ControlServer server(folder_, "h");
  server.start([&](const json&, const std::shared_ptr<Reply>& reply) {
    replies.push_back(reply);
    waiting.add();
  });
  std::deque<RawClient> clients;
  for (std::size_t number = 0; number != protocol::mostClients; ++number) {
    clients.emplace_back(folder_.socketOf("h")).request("wait");
  }
  ASSERT_TRUE(waiting.waitFor(static_cast<int>(protocol::mostClients)));
  auto options = status();
  options.awaited = StatusOptions::Awaited::withdrawn;
  EXPECT_EQ(spfctl::status(options, output_), ExitCode::failedAtRunTime);
  EXPECT_EQ(err_.str(), "spfctl status: too many clients\n");
}

}  // namespace spf::test
