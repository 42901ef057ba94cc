#include <atomic>
#include <new>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "FakeMember.hpp"
#include "etcd/support/ObservedRegistry.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using Kind = FakeMember::Reply::Kind;
using Reply = FakeMember::Reply;

// The keys a/1 and b/1 below /spf/, each with the value x.
constexpr auto listing = R"({"header":{"revision":"41"},"kvs":[{"key":"L3NwZi9hLzE=","value":"eA=="},)"
                         R"({"key":"L3NwZi9iLzE=","value":"eA=="}]})";
constexpr auto listingOfB = R"({"header":{"revision":"45"},"kvs":[{"key":"L3NwZi9iLzE=","value":"eA=="}]})";
constexpr auto created = "{\"result\":{\"created\":true}}\n";
constexpr auto putC = "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9jLzE=\",\"value\":\"eA==\"}}]}}\n";
constexpr auto deleteA =
    "{\"result\":{\"events\":[{\"type\":\"DELETE\",\"kv\":{\"key\":\"L3NwZi9hLzE=\",\"mod_revision\":\"50\"}}]}}\n";

class TheWatchOfARegistry : public testing::Test {
 protected:
  TheWatchOfARegistry() {
    settings_.members = {member_.url()};
    settings_.ttl = std::chrono::seconds(3);
    member_.on("/v3/kv/range", Reply{200, listing});
  }

  std::string problem(const std::string& text) const { return member_.url() + ": " + text; }

  FakeMember member_;
  Settings settings_;
};

TEST_F(TheWatchOfARegistry, BeginsBehindTheListing) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(sut->entries()->size(), 2u);
  ASSERT_TRUE(member_.waitFor("/v3/watch", 1));
  EXPECT_EQ(member_.requests("/v3/watch").at(0).body,
            R"({"create_request":{"key":"L3NwZi8=","range_end":"L3NwZjA=","start_revision":"42"}})");
}

TEST_F(TheWatchOfARegistry, ReportsChanges) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.stream(std::string(putC) + deleteA);
  EXPECT_TRUE(sut.waitForKey("c/1", "x"));
  EXPECT_TRUE(sut.waitForNoKey("a/1"));
}

TEST_F(TheWatchOfARegistry, SaysThatThereIsNoAnswerBeforeTheFirstOne) {
  member_.on("/v3/kv/range", Reply{200, "", Kind::never});
  settings_.ttl = std::chrono::seconds(3600);
  ObservedRegistry sut(settings_);
  EXPECT_EQ(sut->trouble(), problem("no answer yet"));
  EXPECT_FALSE(sut->isListed());
  EXPECT_THAT(*sut->entries(), IsEmpty());
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(TheWatchOfARegistry, MovesToTheNextMemberIfItsOwnDoesNotAnswerAReadAnyMore) {
  FakeMember other;
  other.on("/v3/kv/range", Reply{200, listing});
  settings_.members.push_back(other.url());
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  auto& first = member_.requests("/v3/watch").empty() ? other : member_;
  auto& second = &first == &other ? member_ : other;
  first.on("/v3/kv/range", Reply{200, "", Kind::never});
  ASSERT_TRUE(second.waitFor("/v3/watch", 1));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), ElementsAre(first.url() + ": no answer within 1000 ms"));
  EXPECT_EQ(sut->entries()->size(), 2u);
}

TEST_F(TheWatchOfARegistry, IsReplacedAfterAListingWhenItEnds) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.endConnections();
  ASSERT_TRUE(member_.waitFor("/v3/watch", 2));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), ElementsAre(problem("the watch has ended")));
}

TEST_F(TheWatchOfARegistry, WarnsOnceOfFailuresThatFollowOneAnotherAndAgainAfterAPause) {
  ObservedRegistry sut(settings_);
  for (std::size_t failure = 1; failure <= 3; ++failure) {
    ASSERT_TRUE(sut.waitUntilCurrent());
    member_.endConnections();
    ASSERT_TRUE(member_.waitFor("/v3/watch", failure + 1));
  }
  ASSERT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), SizeIs(1));
  EXPECT_FALSE(sut.waitUntil([](const auto& registry) { return !registry.trouble().empty(); },
                             settings_.ttl + std::chrono::milliseconds(100)));
  member_.endConnections();
  EXPECT_TRUE(sut.waitForWarnings(2));
}

TEST_F(TheWatchOfARegistry, WarnsOfAFailureThatLastsEvenIfItFollowsAnother) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.endConnections();
  ASSERT_TRUE(member_.waitFor("/v3/watch", 2));
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.on("/v3/kv/range", Reply{503, ""});
  member_.endConnections();
  EXPECT_TRUE(sut.waitForWarnings(2));
  EXPECT_THAT(sut.warnings(), ElementsAre(problem("the watch has ended"), problem("HTTP status 503")));
  EXPECT_FALSE(sut.waitForWarnings(3, settings_.ttl + std::chrono::seconds(1)));
}

TEST_F(TheWatchOfARegistry, IsReplacedAfterAListingWhenCompactionHasCancelledIt) {
  std::atomic<int> count{0};
  member_.on("/v3/watch", [&](const FakeMember::Request&) {
    const auto* const cancelled = "{\"result\":{\"canceled\":true,\"compact_revision\":\"60\"}}\n";
    return Reply{200, std::string(created) + (++count == 1 ? cancelled : ""), Kind::stream};
  });
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(member_.waitFor("/v3/watch", 2));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_THAT(sut.warnings(), IsEmpty());
  EXPECT_GE(member_.requests("/v3/kv/range").size(), 2u);
}

TEST_F(TheWatchOfARegistry, LosesMissingKeysEvenIfItBreaksAgainAndAgain) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitForCount(2));
  member_.on("/v3/kv/range", Reply{200, listingOfB});
  member_.on("/v3/watch", Reply{200, created, Kind::whole});
  member_.endConnections();
  EXPECT_TRUE(sut.waitForNoKey("a/1"));
  EXPECT_TRUE(sut.hasKey("b/1"));
}

TEST_F(TheWatchOfARegistry, KeepsMissingKeysForTheRestOfTheirTimeAfterAnOutage) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.on("/v3/kv/range", Reply{200, listingOfB});
  member_.endConnections();
  ASSERT_TRUE(member_.waitFor("/v3/watch", 2));
  member_.on("/v3/kv/range", Reply{503, ""});
  member_.endConnections();
  EXPECT_FALSE(sut.waitUntil([](const auto& registry) { return registry.entries()->count("a/1") == 0; },
                             settings_.ttl + std::chrono::seconds(1)));
  member_.on("/v3/kv/range", Reply{200, listingOfB});
  ASSERT_TRUE(sut.waitUntilCurrent());
  EXPECT_TRUE(sut.hasKey("a/1"));
  EXPECT_TRUE(sut.waitForNoKey("a/1"));
}

TEST_F(TheWatchOfARegistry, ReportsWhyItWasCancelled) {
  member_.on("/v3/watch",
             Reply{200, "{\"result\":{\"canceled\":true,\"cancel_reason\":\"permission\\ndenied\"}}\n", Kind::stream});
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble(problem("the watch was cancelled: permission denied")));
}

TEST_F(TheWatchOfARegistry, ReportsThatItDoesNotBegin) {
  member_.on("/v3/watch", Reply{200, "", Kind::stream});
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble(problem("no watch within 1000 ms")));
}

TEST_F(TheWatchOfARegistry, ReportsMessagesThatCannotBeRead) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  member_.on("/v3/watch", Reply{200, "<html>\n", Kind::stream});
  member_.stream("garbage\n");
  EXPECT_TRUE(sut.waitForTrouble(problem("an answer that is no JSON object")));
  member_.on("/v3/watch", Reply{200, "{\"error\":{\"grpc_code\":14,\"message\":\"server stopped\"}}\n", Kind::stream});
  EXPECT_TRUE(sut.waitForTrouble(problem("server stopped")));
  member_.on("/v3/watch", Reply{503, "", Kind::whole});
  EXPECT_TRUE(sut.waitForTrouble(problem("HTTP status 503")));
  member_.on("/v3/watch", Reply{200, created, Kind::stream});
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(sut.warnings().size(), 1u);
}

TEST_F(TheWatchOfARegistry, ReportsAMessageThatIsTooLong) {
  settings_.ttl = std::chrono::seconds(60);
  member_.on("/v3/watch", Reply{200, std::string(std::size_t{65} * 1024 * 1024, ' '), Kind::stream});
  ObservedRegistry sut(settings_);
  EXPECT_TRUE(sut.waitForTrouble());
  EXPECT_TRUE(sut.waitUntil([&](const auto& registry) {
    return registry.trouble() == problem("a message of more than 67108864 bytes") ||
           registry.trouble() == problem("an answer of more than 64 MiB");
  }));
}

class TheListingOfARegistry : public TheWatchOfARegistry {
 protected:
  // Returns the warning for an answer to the listing, after which a proper one heals everything.
  std::string warningFor(const Reply& reply) {
    member_.on("/v3/kv/range", reply);
    ObservedRegistry sut(settings_);
    const auto hasFailed = [](const auto& registry) {
      return registry.trouble().find("no answer yet") == std::string::npos;
    };
    EXPECT_TRUE(sut.waitUntil(hasFailed));
    EXPECT_FALSE(sut->isListed());
    member_.on("/v3/kv/range", Reply{200, listing});
    EXPECT_TRUE(sut.waitForCount(2));
    EXPECT_TRUE(sut.waitUntilCurrent());
    return sut.warnings().size() == 1 ? sut.warnings().front() : "not one warning";
  }
};

TEST_F(TheListingOfARegistry, ReportsAnswersThatAreNone) {
  EXPECT_EQ(warningFor({500, "oops\nat all"}), problem("HTTP status 500: oops"));
  EXPECT_EQ(warningFor({200, "<html>"}), problem("an answer that is no JSON object"));
  EXPECT_EQ(warningFor({200, "{}"}), problem("a listing without a revision"));
  EXPECT_EQ(warningFor({503, R"({"error":"etcdserver: no leader","code":14})"}), problem("etcdserver: no leader"));
  EXPECT_EQ(warningFor({200, "", Kind::never}), problem("no answer within 1000 ms"));
  EXPECT_EQ(warningFor({302, ""}), problem("HTTP status 302"));
}

TEST_F(TheListingOfARegistry, ReportsAnAnswerThatIsCutOff) {
  const auto warning = warningFor({200, listing, Kind::truncated});
  EXPECT_THAT(warning, StartsWith(problem("")));  // then follows what libcurl says
  EXPECT_GT(warning.size(), problem("").size());
}

TEST_F(TheListingOfARegistry, ReportsAnAnswerThatIsTooLong) {
  settings_.ttl = std::chrono::seconds(60);
  EXPECT_EQ(warningFor({200, std::string(std::size_t{65} * 1024 * 1024, ' ')}),
            problem("an answer of more than 64 MiB"));
}

TEST_F(TheListingOfARegistry, KeepsTheTextOfTheFirstMemberWhileAllFail) {
  FakeMember other;
  other.on("/v3/kv/range", Reply{500, "other"});
  member_.on("/v3/kv/range", Reply{500, "one"});
  settings_.members.push_back(other.url());
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(member_.waitFor("/v3/kv/range", 3));
  ASSERT_TRUE(other.waitFor("/v3/kv/range", 3));
  EXPECT_THAT(sut.warnings(), ElementsAre(sut->trouble()));
}

TEST_F(TheListingOfARegistry, SurvivesCallbacksThatThrow) {
  const auto fail = [](auto&&...) { throw std::runtime_error("a callback's own"); };
  member_.on("/v3/kv/range", Reply{500, ""});
  agent::spf::etcd::Registry sut(settings_, {fail, fail});
  ASSERT_TRUE(member_.waitFor("/v3/kv/range", 2));
  member_.on("/v3/kv/range", Reply{200, listing});
  ASSERT_TRUE(member_.waitFor("/v3/watch", 1));
  member_.stream(putC);
  sut.put("d/1", "x");
  EXPECT_TRUE(member_.waitFor("/v3/kv/txn", 1));
}

TEST_F(TheListingOfARegistry, CallsACallbackThatHasThrownAgainUntilItReturns) {
  settings_.ttl = std::chrono::seconds(3600);
  std::atomic<int> throwsLeft{0};
  ObservedRegistry sut(settings_, [&] {
    if (throwsLeft > 0) {
      --throwsLeft;
      throw std::bad_alloc();
    }
  });
  ASSERT_TRUE(sut.waitUntilCurrent());
  throwsLeft = 3;
  member_.stream(putC);
  EXPECT_TRUE(
      sut.waitUntil([&](const auto& registry) { return throwsLeft == 0 && registry.entries()->count("c/1") == 1; }));
}

TEST_F(TheListingOfARegistry, NeedsNoCallbacks) {
  agent::spf::etcd::Registry sut(settings_, {});
  EXPECT_TRUE(member_.waitFor("/v3/watch", 1));
}

TEST_F(TheListingOfARegistry, CountsWhatIsSentAndReceived) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  const auto traffic = sut->traffic();
  EXPECT_GE(traffic.requests, 2u);
  EXPECT_GT(traffic.sentBytes, 2 * std::string("POST /v3/kv/range HTTP/1.1").size());
  EXPECT_GT(traffic.receivedBytes, std::string(listing).size());
}

}  // namespace etcdtest
