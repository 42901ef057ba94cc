#include "control/HostControl.hpp"

#include <gmock/gmock.h>

#include <optional>

#include "SendingFramework.hpp"
#include "agent/host/host.hpp"
#include "control/ReplyDouble.hpp"
#include "file/readConfiguration.hpp"
#include "support/EmptyHost.hpp"

namespace spf::test {

using namespace spfctl;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using State = HostStatus::State;

namespace {

class AHostsControl : public testing::Test {
 protected:
  AHostsControl() { recorder_.notePublication("c", 1, "/f.json", "{}"); }

  std::shared_ptr<ReplyDouble> handle(const json& request) {
    auto reply = makeReply();
    sut_->handle(request, reply);
    return reply;
  }

  void set(State state, const std::string& lastError = "") {
    HostStatus status;
    status.state = state;
    status.configurationID = "c";
    status.lastError = lastError;
    board_.set(std::move(status));
    sut_->noteStatus();
  }

  // What is wrong with a request.
  std::string complaint(const json& request) {
    try {
      handle(request);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "none";
  }

  const watchtest::SendingFramework framework_;
  EventRecorder recorder_{framework_.context(), 4};
  Changes changes_;
  ChangeRequests requests_{changes_};
  StatusBoard board_;
  std::vector<std::uint32_t> levels_;
  std::optional<HostControl> sut_{
      std::in_place, "h", board_, recorder_, requests_, [this](std::uint32_t levels) { levels_.push_back(levels); }};
};

const json waitForReadiness = {{"request", "status"}, {"wait", "ready"}};

}  // namespace

TEST_F(AHostsControl, AnswersWithTheStatusOfTheBoard) {
  set(State::waiting);
  const auto answer = handle({{"request", "status"}})->answer();
  EXPECT_EQ(answer["ok"], true);
  EXPECT_EQ(answer["version"], 1);
  EXPECT_EQ(answer["host"]["name"], "h");
  EXPECT_EQ(answer["host"]["process"], getpid());
  EXPECT_EQ(answer["configuration"]["id"], "c");
  EXPECT_EQ(answer["configuration"]["state"], "waiting");
}

TEST_F(AHostsControl, AnswersOneThatWaitsForReadinessAtOnceWhenItIsReady) {
  set(State::ready);
  EXPECT_EQ(handle(waitForReadiness)->answer()["configuration"]["state"], "ready");
}

TEST_F(AHostsControl, AnswersAllThatWaitForReadinessWhenItGetsReady) {
  const auto one = handle(waitForReadiness);
  const auto another = handle(waitForReadiness);
  set(State::waiting);
  EXPECT_FALSE(one->isFinished());
  EXPECT_FALSE(another->isFinished());
  set(State::ready);
  EXPECT_EQ(one->answer()["ok"], true);
  EXPECT_EQ(another->answer()["ok"], true);
}

TEST_F(AHostsControl, LetsThoseThatWaitFailWithFiveWhenAPublisherFails) {
  const auto waiting = handle(waitForReadiness);
  set(State::failed, "p: refused");
  EXPECT_EQ(codeIn(waiting->answer()), 5);
  EXPECT_EQ(errorIn(waiting->answer()), "p: refused");
}

TEST_F(AHostsControl, LetsThoseThatWaitFailWithOneWhenTheConfigurationIsLost) {
  const auto waiting = handle(waitForReadiness);
  set(State::lost, "cannot be published");
  EXPECT_EQ(codeIn(waiting->answer()), 1);
  EXPECT_EQ(errorIn(waiting->answer()), "cannot be published");
}

TEST_F(AHostsControl, LetsThoseThatWaitFailAtTheEndAndThoseThatComeLaterToo) {
  const auto waiting = handle(waitForReadiness);
  set(State::withdrawing);
  EXPECT_FALSE(waiting->isFinished());
  sut_->close();
  EXPECT_EQ(codeIn(waiting->answer()), 1);
  EXPECT_EQ(errorIn(waiting->answer()), "the host is ending");
  const auto late = handle(waitForReadiness);
  ASSERT_TRUE(late->isFinished());
  EXPECT_EQ(errorIn(late->answer()), "the host is ending");
}

TEST_F(AHostsControl, ForgetsThoseThatHaveGoneWhileTheyWaited) {
  auto waiting = handle(waitForReadiness);
  const std::weak_ptr<ReplyDouble> weak = waiting;
  waiting->abandon();
  waiting.reset();
  EXPECT_FALSE(weak.expired());
  set(State::waiting);
  EXPECT_TRUE(weak.expired());
}

TEST_F(AHostsControl, StreamsTheEventsFromNowOnAfterTheConfiguration) {
  framework_.sendBound("p", 1);
  const auto reply = handle({{"request", "watch"}});
  EXPECT_THAT(reply->first(), StartsWith("{\"version\":1,\"ok\":true}\n{"));
  EXPECT_THAT(reply->first(), HasSubstr(R"("configurationID":"c")"));
  EXPECT_EQ(reply->next(), "");
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(reply->wakes().waitFor(1));
  EXPECT_THAT(reply->next(), HasSubstr(R"("change":"allPublished")"));
  EXPECT_EQ(reply->next(), "");
  reply->endStream();
  framework_.sendPublished("p", 1);
  EXPECT_EQ(reply->wakes().count(), 1);
}

TEST_F(AHostsControl, StreamsTheEventsSinceTheStart) {
  framework_.sendBound("p", 1);
  const auto reply = handle({{"request", "watch"}, {"sinceStart", true}});
  EXPECT_EQ(reply->first(), "{\"version\":1,\"ok\":true}\n");
  const auto lines = reply->next();
  EXPECT_THAT(lines, HasSubstr(R"("configurationID":"c")"));
  EXPECT_THAT(lines, HasSubstr(R"("change":"bound")"));
  reply->endStream();
}

TEST_F(AHostsControl, StreamsTheEventsThatAreKeptAfterTheConfigurationThatIsNot) {
  for (int number = 0; number != 4; ++number) {
    framework_.sendBound("p", 1);
  }
  const auto reply = handle({{"request", "watch"}, {"sinceStart", true}});
  EXPECT_EQ(reply->first(), "{\"version\":1,\"ok\":true}\n");
  const auto lines = reply->next();
  EXPECT_THAT(lines, StartsWith(R"({"version":1,"kind":"configuration")"));
  EXPECT_LT(lines.find(R"("kind":"dropped")"), lines.find(R"("kind":"endpoint")"));
  reply->endStream();
}

TEST_F(AHostsControl, TellsASlowReaderWhatItMissedAndTheConfigurationAmongThat) {
  const auto reply = handle({{"request", "watch"}});
  recorder_.notePublication("c", 2, "/new.json", "{}");
  for (int number = 0; number != 5; ++number) {
    framework_.sendBound("p", 2);
  }
  const auto lines = reply->next();
  EXPECT_THAT(lines, StartsWith(R"({"kind":"dropped")"));
  EXPECT_THAT(lines, HasSubstr(R"("count":2})"));
  EXPECT_THAT(lines, HasSubstr(R"("file":"/new.json")"));
  const std::string kind = R"("kind":"configuration")";
  EXPECT_EQ(lines.find(kind), lines.rfind(kind)) << "once: " << lines;
  reply->endStream();
}

TEST_F(AHostsControl, HandsAConfigurationToTheSessionWithAllThatBelongsToIt) {
  const auto reply = handle({{"request", "apply"}, {"file", "f"}, {"text", "t"}, {"timeout", 7}, {"rollback", true}});
  const auto request = requests_.next();
  ASSERT_TRUE(request);
  EXPECT_EQ(request->file, "f");
  EXPECT_EQ(request->text, "t");
  EXPECT_EQ(request->timeout.count(), 7);
  EXPECT_TRUE(request->rollback);
  EXPECT_EQ(request->reply, reply);
  EXPECT_FALSE(reply->isFinished());
}

TEST_F(AHostsControl, HandsOverAConfigurationWithHalfAMinuteAndNoRollbackUnlessItSaysOtherwise) {
  handle({{"request", "apply"}, {"file", "f"}, {"text", "t"}});
  const auto request = requests_.next();
  ASSERT_TRUE(request);
  EXPECT_EQ(request->timeout, std::chrono::seconds(30));
  EXPECT_FALSE(request->rollback);
}

TEST_F(AHostsControl, HandsAWithdrawalToTheSession) {
  const auto reply = handle({{"request", "withdraw"}});
  EXPECT_TRUE(requests_.isWithdrawalRequested());
  EXPECT_FALSE(reply->isFinished());
}

TEST_F(AHostsControl, ChangesTheLogLevels) {
  EXPECT_EQ(handle({{"request", "log"}, {"levels", 0}})->answer()["ok"], true);
  EXPECT_EQ(handle({{"request", "log"}, {"levels", 4294967295U}})->answer()["ok"], true);
  EXPECT_THAT(levels_, testing::ElementsAre(0u, 4294967295u));
}

TEST_F(AHostsControl, SaysThatNothingConnectsToAnEndpoint) {
  const auto answer = handle({{"request", "ask"}, {"endpoint", "tcp://x:1"}})->answer();
  EXPECT_EQ(codeIn(answer), 1);
  EXPECT_EQ(errorIn(answer), "no publisher connects to 'tcp://x:1'; the configuration connects to nothing");
}

namespace {

class AHostsControlOfPublishers : public AHostsControl {
 protected:
  AHostsControlOfPublishers() {
    HostStatus status;
    auto source = std::make_shared<ConfigurationSource>();
    source->description = checkConfiguration({"f.json", R"({"configurationID": "c", "servicePublishers": [
        {"uniqueID": "p", "name": "n", "endpointsToConnectTo": ["tcp://a:1", 7, "tcp://b:2"]}]})"})
                              .description;
    status.source = source;
    board_.set(std::move(status));
  }
};

}  // namespace

TEST_F(AHostsControlOfPublishers, NamesTheEndpointsThatCanBeAsked) {
  EXPECT_EQ(errorIn(handle({{"request", "ask"}, {"endpoint", "tcp://x:1"}})->answer()),
            "no publisher connects to 'tcp://x:1'; expected one of tcp://a:1, tcp://b:2");
}

TEST_F(AHostsControlOfPublishers, SaysThatTheFrameworkHasNoPeerDirectory) {
  const EmptyHost host;
  const auto answer = handle({{"request", "ask"}, {"endpoint", "tcp://a:1"}})->answer();
  EXPECT_EQ(codeIn(answer), 1);
  EXPECT_EQ(errorIn(answer), "the framework offers no peer directory");
}

TEST_F(AHostsControlOfPublishers, DoesNotAskForAClientThatHasGone) {
  auto reply = makeReply();
  reply->abandon();
  sut_->handle({{"request", "ask"}, {"endpoint", "tcp://a:1"}}, reply);
  sut_.reset();
  EXPECT_FALSE(reply->isFinished());
}

TEST_F(AHostsControlOfPublishers, AsksNobodyAtTheEnd) {
  sut_->close();
  EXPECT_EQ(errorIn(handle({{"request", "ask"}, {"endpoint", "tcp://a:1"}})->answer()), "the host is ending");
}

namespace {

struct Complaint {
  const char* request;
  const char* text;
};

class AWrongRequest : public AHostsControl, public testing::WithParamInterface<Complaint> {};

}  // namespace

TEST_P(AWrongRequest, IsRefusedWithWhatWasExpected) {
  EXPECT_EQ(complaint(json::parse(GetParam().request)), GetParam().text);
  EXPECT_FALSE(requests_.next());
  EXPECT_THAT(levels_, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Of, AWrongRequest,
    testing::Values(Complaint{R"({"request":"dance"})",
                              "unknown request 'dance'; expected apply, ask, log, status, watch or withdraw"},
                    Complaint{R"({"request":"status","wait":"x"})", "'wait' is 'x'; expected ready"},
                    Complaint{R"({"request":"status","wait":1})", "'wait' is 1; expected a text"},
                    Complaint{R"({"request":"watch","sinceStart":1})", "'sinceStart' is 1; expected true or false"},
                    Complaint{R"({"request":"apply","text":"t"})", "no 'file'; expected a text"},
                    Complaint{R"({"request":"apply","file":"f"})", "no 'text'; expected a text"},
                    Complaint{R"({"request":"apply","file":"f","text":{}})", "'text' is {}; expected a text"},
                    Complaint{R"({"request":"apply","file":"f","text":"t","timeout":"1"})",
                              R"('timeout' is "1"; expected milliseconds)"},
                    Complaint{R"({"request":"apply","file":"f","text":"t","timeout":1.5})",
                              "'timeout' is 1.5; expected milliseconds"},
                    Complaint{R"({"request":"apply","file":"f","text":"t","timeout":-1})",
                              "'timeout' is out of range; expected 0 to 9223372036854775807 milliseconds"},
                    Complaint{R"({"request":"apply","file":"f","text":"t","timeout":18446744073709551615})",
                              "'timeout' is out of range; expected 0 to 9223372036854775807 milliseconds"},
                    Complaint{R"({"request":"apply","file":"f","text":"t","rollback":"yes"})",
                              R"('rollback' is "yes"; expected true or false)"},
                    Complaint{R"({"request":"ask"})", "no 'endpoint'; expected a text"},
                    Complaint{R"({"request":"ask","endpoint":null})", "'endpoint' is null; expected a text"},
                    Complaint{R"({"request":"log"})", "no 'levels'; expected a whole number"},
                    Complaint{R"({"request":"log","levels":true})", "'levels' is true; expected a whole number"},
                    Complaint{R"({"request":"log","levels":-1})", "'levels' is out of range; expected 0 to 4294967295"},
                    Complaint{R"({"request":"log","levels":4294967296})",
                              "'levels' is out of range; expected 0 to 4294967295"}));

}  // namespace spf::test
