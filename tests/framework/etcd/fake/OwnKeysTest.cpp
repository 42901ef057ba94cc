#include <string>

#include <gtest/gtest.h>
#include "FakeMember.hpp"
#include "etcd/support/ObservedRegistry.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using Reply = FakeMember::Reply;

class TheKeysOfARegistry : public testing::Test {
 protected:
  TheKeysOfARegistry() {
    settings_.members = {member_.url()};
    settings_.ttl = std::chrono::seconds(30);
    member_.on("/v3/lease/grant", Reply{200, R"({"ID":"7","TTL":"1000"})"});
  }

  // Blocks until a number of writes has come, and returns the last of them.
  std::string waitForWrite(std::size_t count) {
    return member_.waitFor("/v3/kv/txn", count) ? member_.requests("/v3/kv/txn").at(count - 1).body : "no write";
  }

  FakeMember member_;
  Settings settings_;
};

TEST_F(TheKeysOfARegistry, AreWrittenWithTheLease) {
  ObservedRegistry sut(settings_);
  sut->put("a/1", "x");
  EXPECT_EQ(waitForWrite(1), R"({"success":[{"request_put":{"key":"L3NwZi9hLzE=","lease":"7","value":"eA=="}}]})");
}

TEST_F(TheKeysOfARegistry, AreDeletedWhenTheyAreRemoved) {
  ObservedRegistry sut(settings_);
  sut->put("a/1", "x");
  waitForWrite(1);
  sut->remove("a/1");
  EXPECT_EQ(waitForWrite(2), R"({"success":[{"request_delete_range":{"key":"L3NwZi9hLzE="}}]})");
  sut->put("a/1", "y");
  EXPECT_EQ(waitForWrite(3), R"({"success":[{"request_put":{"key":"L3NwZi9hLzE=","lease":"7","value":"eQ=="}}]})");
}

TEST_F(TheKeysOfARegistry, AreLeftAloneIfAnotherOnePutThem) {
  ObservedRegistry sut(settings_);
  sut->remove("b/1");
  sut->put("a/1", "x");
  EXPECT_EQ(waitForWrite(1), R"({"success":[{"request_put":{"key":"L3NwZi9hLzE=","lease":"7","value":"eA=="}}]})");
}

TEST_F(TheKeysOfARegistry, LeaveTheEntriesAtOnceWhenTheyAreRemoved) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.stream(
      "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9hLzE=\",\"value\":\"eA==\",\"lease\":\"7\","
      "\"mod_revision\":\"2\"}}]}}\n");
  ASSERT_TRUE(sut.waitForKey("a/1", "x"));
  member_.on("/v3/kv/txn", Reply{200, "", Reply::Kind::never});
  sut->remove("a/1");
  EXPECT_TRUE(sut.waitForNoKey("a/1"));
}

// The watch of a member that lags behind the one that was written to.
TEST_F(TheKeysOfARegistry, DoNotComeBackWithALateReportAfterTheyAreRemoved) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.on("/v3/kv/txn", Reply{200, R"({"header":{"revision":"5"},"succeeded":true})"});
  sut->remove("a/1");
  waitForWrite(2);
  sut->put("b/1", "y");
  waitForWrite(3);  // so the answer to the second one has arrived
  member_.stream(
      "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9hLzE=\",\"value\":\"eA==\",\"lease\":\"7\","
      "\"mod_revision\":\"2\"}},{\"kv\":{\"key\":\"L3NwZi9jLzE=\",\"value\":\"eA==\",\"mod_revision\":\"4\"}}]}}\n");
  ASSERT_TRUE(sut.waitForKey("c/1"));
  EXPECT_FALSE(sut.hasKey("a/1"));
  sut->put("d/1", "x");
  EXPECT_EQ(waitForWrite(4), R"({"success":[{"request_put":{"key":"L3NwZi9kLzE=","lease":"7","value":"eA=="}}]})");
  member_.stream(
      "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9hLzE=\",\"value\":\"eg==\",\"mod_revision\":\"6\"}}]}}\n");
  EXPECT_TRUE(sut.waitForKey("a/1", "z"));
}

TEST_F(TheKeysOfARegistry, DoNotComeBackWithAListingWhileTheyAreRemoved) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.on("/v3/kv/txn", Reply{200, "", Reply::Kind::never});
  sut->remove("a/1");
  waitForWrite(2);
  member_.on("/v3/kv/range",
             Reply{200, R"({"header":{"revision":"4"},"kvs":[{"key":"L3NwZi9hLzE=","value":"eA==","lease":"7",)"
                        R"("mod_revision":"2"},{"key":"L3NwZi9jLzE=","value":"eA==","mod_revision":"4"}]})"});
  member_.endConnections();
  ASSERT_TRUE(sut.waitForKey("c/1"));
  EXPECT_FALSE(sut.hasKey("a/1"));
}

TEST_F(TheKeysOfARegistry, AreWrittenInPartsThatEtcdTakes) {
  ObservedRegistry sut(settings_);
  for (int number = 0; number < 3; ++number) {
    sut->put(std::to_string(number), std::string(300000, 'x'));
  }
  ASSERT_TRUE(member_.waitFor("/v3/kv/txn", 3));
  for (const auto& request : member_.requests("/v3/kv/txn")) {
    EXPECT_LT(request.body.size(), 1500000u);
  }
}

TEST_F(TheKeysOfARegistry, AreWrittenAgainAfterARefusal) {
  member_.on("/v3/kv/txn", Reply{500, "oops"});
  ObservedRegistry sut(settings_);
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForTrouble(member_.url() + ": HTTP status 500: oops"));
  member_.on("/v3/kv/txn", Reply{200, R"({"header":{"revision":"2"},"succeeded":true})"});
  EXPECT_TRUE(sut.waitUntilCurrent());
}

TEST_F(TheKeysOfARegistry, AreWrittenAgainIfAnotherOneDeletesThem) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.stream(
      "{\"result\":{\"events\":[{\"type\":\"DELETE\",\"kv\":{\"key\":\"L3NwZi9hLzE=\","
      "\"mod_revision\":\"3\"}}]}}\n");
  EXPECT_EQ(waitForWrite(2), waitForWrite(1));
}

TEST_F(TheKeysOfARegistry, AreWrittenAgainIfTheyAreMissingFromAListing) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.on("/v3/kv/range", Reply{200, R"({"header":{"revision":"5"}})"});
  member_.endConnections();
  EXPECT_EQ(waitForWrite(2), waitForWrite(1));
}

TEST_F(TheKeysOfARegistry, AreWrittenAgainIfALateRequestSetsThemBack) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.stream(
      "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9hLzE=\",\"value\":\"eQ==\",\"lease\":\"7\","
      "\"mod_revision\":\"3\"}}]}}\n");
  EXPECT_EQ(waitForWrite(2), waitForWrite(1));
}

TEST_F(TheKeysOfARegistry, AreDeletedIfALateRequestBringsThemBack) {
  ObservedRegistry sut(settings_);
  ASSERT_TRUE(sut.waitUntilCurrent());
  sut->put("a/1", "x");
  waitForWrite(1);
  member_.stream(
      "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9iLzE=\",\"value\":\"eQ==\",\"lease\":\"7\","
      "\"mod_revision\":\"3\"}}]}}\n");
  EXPECT_EQ(waitForWrite(2), R"({"success":[{"request_delete_range":{"key":"L3NwZi9iLzE="}}]})");
}

}  // namespace etcdtest
