#include "display/ProgressDisplay.hpp"

#include <gtest/gtest.h>

#include <sstream>

#include "display/terminalText.hpp"

namespace spf::test {

using namespace spfctl;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const Clock::time_point begin{1000s};

OutstandingEndpoint endpoint(std::string what, std::string text, std::string phase = "", std::string reason = "",
                             unsigned tries = 0) {
  return {std::move(what), std::move(text), std::move(phase), std::move(reason), tries};
}

PublisherState publisher(std::string id, std::vector<OutstandingEndpoint> outstanding, bool published,
                         std::string error = "") {
  PublisherState state;
  state.id = std::move(id);
  state.endpointsComplete = outstanding.empty();
  state.outstanding = std::move(outstanding);
  state.servicesPublished = published;
  state.error = std::move(error);
  state.since = begin;
  return state;
}

PublisherState ready(const std::string& id) {
  return publisher(id, {}, true);
}

PublisherState refusing(const std::string& id, std::vector<RefusedHandshakes> refused) {
  auto state = ready(id);
  state.refused = std::move(refused);
  return state;
}

std::vector<std::string> block(const std::vector<PublisherState>& states, TerminalSize size,
                               std::optional<Clock::time_point> deadline = std::nullopt) {
  std::vector<std::string> texts;
  for (const auto& line : publisherLines(states, {begin + 65s, deadline}, size)) {
    texts.push_back(line.text);
  }
  return texts;
}

using Lines = std::vector<std::string>;

TEST(APublisherState, IsDescribedByWhatIsOutstanding) {
  const auto bind = endpoint("to bind", "b");
  const auto connect = endpoint("to connect", "c");
  EXPECT_EQ(describe(publisher("p", {bind, connect, endpoint("to connect", "d")}, false)),
            "to bind b; to connect c d; services not published");
  EXPECT_EQ(describe(publisher("p", {connect}, true)), "to connect c");
  EXPECT_EQ(describe(publisher("p", {}, false)), "services not published");
  EXPECT_EQ(describe(ready("p")), "ready");
  EXPECT_EQ(describe(publisher("p", {bind}, false, "port taken")), "failed: port taken");
}

TEST(AnOutstandingEndpoint, IsDescribedByWhatIsKnownOfIt) {
  EXPECT_EQ(describe(endpoint("to connect", "c")), "to connect c");
  EXPECT_EQ(describe(endpoint("to connect", "c", "opening", "", 1)), "to connect c: opening, 1 try");
  EXPECT_EQ(describe(endpoint("to connect", "c", "lost", "Connection refused", 3)),
            "to connect c: lost, 3 tries: Connection refused");
}

TEST(RefusedHandshakes, AreDescribedByTheirNumberAndTheLastReason) {
  EXPECT_EQ(describe(RefusedHandshakes{"tcp://a:1", 1, "no encryption"}),
            "up tcp://a:1 (1 handshake refused, last: no encryption)");
  EXPECT_EQ(describe(RefusedHandshakes{"tcp://a:1", 3, "key unknown"}),
            "up tcp://a:1 (3 handshakes refused, last: key unknown)");
}

TEST(TheBlockOfPublishers, HasALineForEachEndpointThatHasRefusedHandshakes) {
  auto state = refusing("p", {{"a", 3, "key unknown"}, {"b\x1b", 1, "no encryption"}});
  state.outstanding = {endpoint("to connect", "c", "lost", "refused")};
  state.bound = {2, 2};
  EXPECT_EQ(block({state, refusing("q", {{"d", 1, "key unknown"}})}, {80, 24}),
            (Lines{"p  degraded 1 min 5 s  bound 2 of 2  4 handshakes refused", "  to connect c: lost: refused",
                   "  up a (3 handshakes refused, last: key unknown)",
                   "  up b\\x1b (1 handshake refused, last: no encryption)",
                   "q  ready    1 min 5 s  1 handshake refused", "  up d (1 handshake refused, last: key unknown)"}));
}

TEST(TheBlockOfPublishers, FoldsEndpointsThatHaveRefusedHandshakesFirst) {
  auto state = refusing("p", {{"a", 3, "key unknown"}, {"b", 1, "no encryption"}});
  state.outstanding = {endpoint("to connect", "c", "lost")};
  EXPECT_EQ(block({state}, {80, 4}), (Lines{"p  degraded 1 min 5 s  4 handshakes refused", "  to connect c: lost",
                                            "  up a (3 handshakes refused, last: key unknown)"}));
  EXPECT_EQ(block({state}, {80, 3}), (Lines{"p  degraded 1 min 5 s  4 handshakes refused", "  to connect c: lost"}));
  EXPECT_EQ(block({state}, {80, 2}), (Lines{"p  degraded 1 min 5 s  4 handshakes refused"}));
  state.outstanding.push_back(endpoint("to connect", "d", "lost"));
  EXPECT_EQ(block({state}, {80, 3}),
            (Lines{"p  degraded 1 min 5 s  4 handshakes refused", "  2 more endpoints outstanding"}));
}

TEST(TheBlockOfPublishers, ShowsOfAFailedOneOnlyWhy) {
  auto state = refusing("p", {{"a", 3, "key unknown"}});
  state.error = "port taken";
  EXPECT_EQ(block({state}, {80, 24}), (Lines{"p  failed: port taken"}));
}

TEST(TheBlockOfPublishers, HasALineForEachAndForEachEndpointThatIsNotUp) {
  auto waiting = publisher("station", {endpoint("to connect", "c", "opening", "Connection refused", 2)}, false);
  waiting.bound = {1, 2};
  waiting.connected = {0, 1};
  EXPECT_EQ(block({waiting, ready("other")}, {100, 24}, begin + 70s),
            (Lines{"station  waiting  1 min 5 s  bound 1 of 2  connected 0 of 1  services not published",
                   "  to connect c: opening, 2 tries: Connection refused", "other    ready    1 min 5 s", "5 s left"}));
}

TEST(TheBlockOfPublishers, ShowsThatAReadyOneHasLostAnEndpoint) {
  auto state = publisher("p", {endpoint("to connect", "c", "lost")}, true);
  state.endpointsComplete = true;
  EXPECT_EQ(block({state}, {80, 24}), (Lines{"p  degraded 1 min 5 s", "  to connect c: lost"}));
}

TEST(TheBlockOfPublishers, FoldsEndpointsFirstWhenTheTerminalIsLow) {
  std::vector<OutstandingEndpoint> endpoints;
  for (int index = 0; index < 10; ++index) {
    endpoints.push_back(endpoint("to bind", std::to_string(index)));
  }
  EXPECT_EQ(block({publisher("p", endpoints, true), ready("q")}, {80, 6}),
            (Lines{"p  waiting  1 min 5 s", "  to bind 0", "  to bind 1", "q  ready    1 min 5 s",
                   "  8 more endpoints outstanding"}));
}

TEST(TheBlockOfPublishers, FoldsThoseThatNeedNoAttentionWhenTheyAreTooMany) {
  std::vector<PublisherState> states;
  for (int index = 0; index < 20; ++index) {
    states.push_back(ready("r" + std::to_string(index)));
  }
  states.push_back(publisher("w", {}, false));
  states.push_back(publisher("f", {}, false, "refused"));
  EXPECT_EQ(block(states, {80, 5}),
            (Lines{"22 publishers: 20 ready, 1 waiting, 1 failed", "f    failed: refused",
                   "w    waiting  1 min 5 s  services not published", "r0   ready    1 min 5 s"}));
}

class ATerminalOfAnySize : public testing::TestWithParam<std::pair<std::size_t, std::size_t>> {};

TEST_P(ATerminalOfAnySize, IsNeitherOverflowedNorBroken) {
  const auto [columns, rows] = GetParam();
  std::vector<PublisherState> states;
  for (int index = 0; index < 12; ++index) {
    states.push_back(publisher("\u6e29\u5ea6 \x1b[31m " + std::string(static_cast<std::size_t>(index) * 4, 'x'),
                               {endpoint("to bind", "w\xe4rme\n" + std::string(100, 'y'), "opening", "\u202ereason"),
                                endpoint("to connect", "c")},
                               false, index % 5 == 0 ? "failed\r\n" : ""));
  }
  const auto lines = block(states, {columns, rows}, begin + 70s);
  EXPECT_LT(lines.size(), rows);
  EXPECT_GT(lines.size(), rows / 2);
  for (const auto& line : lines) {
    EXPECT_LT(columnsOf(line), columns);
    EXPECT_EQ(escaped(line), line);
  }
}

INSTANTIATE_TEST_SUITE_P(InBothDirections, ATerminalOfAnySize,
                         testing::Values(std::pair(40, 5), std::pair(40, 50), std::pair(80, 5), std::pair(80, 50),
                                         std::pair(200, 5), std::pair(200, 50)));

// Shows states where there is no terminal, or on one of a size that may change.
class AProgressDisplay : public testing::Test {
 protected:
  DisplayOptions lines() {
    return {[] { return std::nullopt; }, [this] { return std::to_string(++time_); }, false, false};
  }
  DisplayOptions terminal() {
    return {[this] { return std::optional(size_); }, [] { return std::string(); }, false, false};
  }
  std::string shown(ProgressDisplay& sut, const std::vector<PublisherState>& states) {
    out_.str("");
    sut.show(states, {begin, std::nullopt});
    return out_.str();
  }

  std::ostringstream out_;
  int time_ = 0;
  TerminalSize size_{80, 24};
};

TEST_F(AProgressDisplay, WritesOneLinePerChangeWhereThereIsNoTerminal) {
  ProgressDisplay sut(out_, lines());
  const auto waiting = publisher("p", {endpoint("to bind", "b")}, false);
  EXPECT_EQ(shown(sut, {waiting, ready("q")}), "1 p: to bind b; services not published\n2 q: ready\n");
  EXPECT_EQ(shown(sut, {waiting, ready("q")}), "");
  EXPECT_EQ(shown(sut, {ready("p"), ready("q")}), "3 p: ready\n");
}

TEST_F(AProgressDisplay, WritesNoLineWhileNothingIsOutstandingBeforeAPublisherIsReady) {
  ProgressDisplay sut(out_, lines());
  EXPECT_EQ(shown(sut, {publisher("p", {endpoint("to connect", "c")}, true)}), "1 p: to connect c\n");
  auto almost = ready("p");
  almost.endpointsComplete = false;
  EXPECT_EQ(shown(sut, {almost}), "");
  EXPECT_EQ(shown(sut, {ready("p")}), "2 p: ready\n");
}

TEST_F(AProgressDisplay, WritesALineWhenTheReasonOfAnEndpointChanges) {
  ProgressDisplay sut(out_, lines());
  const auto with = [](const std::string& phase, const std::string& reason, unsigned tries) {
    return publisher("p", {endpoint("to connect", "c", phase, reason, tries)}, true);
  };
  EXPECT_EQ(shown(sut, {with("opening", "", 1)}), "1 p: to connect c\n");
  EXPECT_EQ(shown(sut, {with("opening", "Connection refused", 2)}), "2 p: to connect c: opening: Connection refused\n");
  EXPECT_EQ(shown(sut, {with("opening", "Connection refused", 3)}), "");
  EXPECT_EQ(shown(sut, {ready("p")}), "3 p: ready\n4 p: up: c\n");
}

TEST_F(AProgressDisplay, WritesLostAndRegainedConnections) {
  ProgressDisplay sut(out_, lines());
  auto lost = publisher("p", {endpoint("to connect", "c d", "lost")}, true);
  lost.endpointsComplete = true;
  EXPECT_EQ(shown(sut, {ready("p")}), "1 p: ready\n");
  EXPECT_EQ(shown(sut, {lost}), "2 p: to connect c d: lost\n");
  EXPECT_EQ(shown(sut, {ready("p")}), "3 p: up: c d\n");
  EXPECT_EQ(shown(sut, {ready("p")}), "");
}

TEST_F(AProgressDisplay, WritesWhyAPeerRefusesAConnection) {
  ProgressDisplay sut(out_, lines());
  const auto with = [](const std::string& reason) {
    return publisher("p", {endpoint("to connect", "tcp://a:1#b", "opening", reason, 1)}, true);
  };
  EXPECT_EQ(shown(sut, {with("")}), "1 p: to connect tcp://a:1#b\n");
  int line = 1;
  for (const std::string reason : {"no key of 'b' is trusted", "refused", "no encryption",
                                   "handshake broken off (wrong server key, or not a peer)"}) {
    EXPECT_EQ(shown(sut, {with(reason)}),
              std::to_string(++line) + " p: to connect tcp://a:1#b: opening: " + reason + "\n");
  }
}

TEST_F(AProgressDisplay, WritesEachReasonForWhichAnEndpointRefusesPeersOnce) {
  ProgressDisplay sut(out_, lines());
  EXPECT_EQ(shown(sut, {refusing("p", {{"a", 1, "key unknown"}})}),
            "1 p: ready\n2 p: up a: handshakes refused: key unknown\n");
  EXPECT_EQ(shown(sut, {refusing("p", {{"a", 7, "key unknown"}})}), "");
  EXPECT_EQ(shown(sut, {refusing("p", {{"a", 8, "no encryption"}, {"b", 1, "key unknown"}})}),
            "3 p: up a: handshakes refused: no encryption\n4 p: up b: handshakes refused: key unknown\n");
  EXPECT_EQ(shown(sut, {refusing("p", {{"a", 9, "key unknown"}, {"b", 2, "key unknown"}})}), "");
}

TEST_F(AProgressDisplay, WritesWhomAnEndpointRefusesAgainOnceItsSocketWasOpenedAnew) {
  ProgressDisplay sut(out_, lines());
  const auto both = [](std::vector<RefusedHandshakes> ofP) {
    return std::vector<PublisherState>{refusing("p", std::move(ofP)), refusing("q", {{"a", 1, "key unknown"}})};
  };
  shown(sut, both({{"a", 1, "key unknown"}}));
  EXPECT_EQ(shown(sut, both({})), "");
  EXPECT_EQ(shown(sut, both({{"a", 1, "key unknown"}})), "5 p: up a: handshakes refused: key unknown\n");
}

TEST_F(AProgressDisplay, ShowsTheNumberOfRefusedHandshakesOnATerminal) {
  ProgressDisplay sut(out_, terminal());
  shown(sut, {refusing("p", {{"a", 1, "key unknown"}})});
  EXPECT_EQ(
      shown(sut, {refusing("p", {{"a", 2, "key unknown"}})}),
      "\x1b[2A\x1b[Jp  ready    0 s     2 handshakes refused\n  up a (2 handshakes refused, last: key unknown)\n");
}

TEST_F(AProgressDisplay, EscapesWhatATerminalWouldObey) {
  ProgressDisplay sut(out_, lines());
  EXPECT_EQ(shown(sut, {publisher("p\x1b[2J", {}, false)}), "1 p\\x1b[2J: services not published\n");
}

TEST_F(AProgressDisplay, DrawsOneBlockAnewWithEachChangeOnATerminal) {
  ProgressDisplay sut(out_, terminal());
  const auto waiting = publisher("p", {endpoint("to bind", "b")}, true);
  EXPECT_EQ(shown(sut, {waiting}), "p  waiting  0 s\n  to bind b\n");
  EXPECT_EQ(shown(sut, {waiting}), "");
  EXPECT_EQ(shown(sut, {ready("p")}), "\x1b[2A\x1b[Jp  ready    0 s\n");
}

TEST_F(AProgressDisplay, FindsItsBlockAgainOnATerminalThatGotNarrower) {
  ProgressDisplay sut(out_, terminal());
  const auto state = publisher("p", {endpoint("to bind", std::string(60, 'b'))}, true);
  shown(sut, {state});
  size_.columns = 40;
  // The line of 70 characters takes two rows by now.
  EXPECT_EQ(shown(sut, {state}).substr(0, 7), "\x1b[3A\x1b[J");
}

TEST_F(AProgressDisplay, LeavesItsBlockWhenSomethingElseWasWritten) {
  ProgressDisplay sut(out_, terminal());
  shown(sut, {ready("p")});
  sut.startNewBlock();
  EXPECT_EQ(shown(sut, {ready("p")}), "p  ready    0 s\n");
}

TEST_F(AProgressDisplay, RemovesItsBlockForWhatIsToBeWrittenInItsPlace) {
  ProgressDisplay sut(out_, terminal());
  sut.erase();
  EXPECT_EQ(shown(sut, {ready("p"), ready("q")}), "p  ready    0 s\nq  ready    0 s\n");
  out_.str("");
  sut.erase();
  EXPECT_EQ(out_.str(), "\x1b[2A\x1b[J");
  EXPECT_EQ(shown(sut, {ready("p"), ready("q")}), "p  ready    0 s\nq  ready    0 s\n");
}

TEST_F(AProgressDisplay, HasNothingToRemoveWhereThereIsNoTerminal) {
  ProgressDisplay sut(out_, lines());
  shown(sut, {ready("p")});
  out_.str("");
  sut.erase();
  EXPECT_EQ(out_.str(), "");
}

TEST_F(AProgressDisplay, ColoursOnlyWhereItMay) {
  auto options = terminal();
  options.isColoured = true;
  ProgressDisplay sut(out_, options);
  EXPECT_EQ(shown(sut, {ready("p"), publisher("q", {}, false, "no")}),
            "\x1b[32mp  ready    0 s\x1b[0m\n\x1b[31mq  failed: no\x1b[0m\n");
}

TEST_F(AProgressDisplay, IsSilentWhenItIsQuiet) {
  auto options = terminal();
  options.isQuiet = true;
  ProgressDisplay sut(out_, options);
  EXPECT_EQ(shown(sut, {ready("p")}), "");
}

TEST_F(AProgressDisplay, WritesNothingForAConfigurationWithoutPublishers) {
  ProgressDisplay onATerminal(out_, terminal());
  ProgressDisplay elsewhere(out_, lines());
  EXPECT_EQ(shown(onATerminal, {}), "");
  EXPECT_EQ(shown(elsewhere, {}), "");
}

}  // namespace spf::test
