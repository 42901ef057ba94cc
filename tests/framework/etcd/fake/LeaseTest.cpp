#include <array>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include "FakeMember.hpp"
#include "etcd/support/ObservedRegistry.hpp"

namespace etcdtest {

using agent::spf::etcd::Settings;
using Reply = FakeMember::Reply;

class TheLeaseOfARegistry : public testing::Test {
 protected:
  static Settings settings(const FakeMember& member, int ttl) {
    Settings settings;
    settings.members = {member.url()};
    settings.ttl = std::chrono::seconds(ttl);
    return settings;
  }

  FakeMember member_;
};

TEST_F(TheLeaseOfARegistry, IsNotAskedForBeforeAKeyIsPut) {
  ObservedRegistry sut(settings(member_, 1));
  ASSERT_TRUE(member_.waitFor("/v3/kv/range", 3));
  EXPECT_TRUE(member_.requests("/v3/lease/grant").empty());
}

TEST_F(TheLeaseOfARegistry, IsRenewedAtAThirdOfWhatWasGrantedNotOfWhatWasAskedFor) {
  ObservedRegistry sut(settings(member_, 3600));
  sut->put("a/1", "x");
  EXPECT_TRUE(member_.waitFor("/v3/lease/keepalive", 3));
  EXPECT_EQ(member_.requests("/v3/lease/grant").at(0).body, R"({"TTL":"3600"})");
  EXPECT_EQ(member_.requests("/v3/lease/keepalive").at(0).body, R"({"ID":"7"})");
}

TEST_F(TheLeaseOfARegistry, IsLeftAloneWhileItHasTimeLeft) {
  member_.on("/v3/lease/grant", Reply{200, R"({"ID":"7","TTL":"3600"})"});
  ObservedRegistry sut(settings(member_, 1));
  sut->put("a/1", "x");
  ASSERT_TRUE(member_.waitFor("/v3/kv/txn", 1));
  ASSERT_TRUE(member_.waitFor("/v3/kv/range", 4));  // of which three are a third of a second apart
  EXPECT_TRUE(member_.requests("/v3/lease/keepalive").empty());
}

TEST_F(TheLeaseOfARegistry, IsReplacedWithAllKeysWhenItHasLapsed) {
  ObservedRegistry sut(settings(member_, 1));
  sut->put("a/1", "x");
  sut->put("b/1", "y");
  ASSERT_TRUE(member_.waitFor("/v3/lease/keepalive", 1));
  const auto writes = member_.requests("/v3/kv/txn").size();
  member_.on("/v3/lease/grant", Reply{200, R"({"ID":"8","TTL":"1"})"});
  member_.on("/v3/lease/keepalive", Reply{200, R"({"result":{"ID":"7"}})"});
  ASSERT_TRUE(member_.waitFor("/v3/kv/txn", writes + 1));
  const auto body = member_.requests("/v3/kv/txn").at(writes).body;
  EXPECT_NE(body.find(R"("key":"L3NwZi9hLzE=","lease":"8")"), std::string::npos) << body;
  EXPECT_NE(body.find(R"("key":"L3NwZi9iLzE=","lease":"8")"), std::string::npos) << body;
}

TEST_F(TheLeaseOfARegistry, IsReplacedWhenAWriteSaysThatItIsGone) {
  member_.on("/v3/kv/txn", [](const FakeMember::Request& request) {
    const bool isOld = request.body.find(R"("lease":"7")") != std::string::npos;
    return isOld ? Reply{404, R"({"error":"etcdserver: requested lease not found","code":5})"}
                 : Reply{200, R"({"header":{"revision":"2"},"succeeded":true})"};
  });
  member_.on("/v3/lease/grant", [](const FakeMember::Request&) {
    static int id = 6;
    return Reply{200, R"({"ID":")" + std::to_string(++id) + R"(","TTL":"1000"})"};
  });
  ObservedRegistry sut(settings(member_, 1));
  sut->put("a/1", "x");
  ASSERT_TRUE(member_.waitFor("/v3/kv/txn", 2));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(member_.requests("/v3/lease/grant").size(), 2u);
}

// Three members that keep one lease, of which two stop to answer its renewals.
class TheLeaseOfThreeMembers : public testing::Test {
 protected:
  TheLeaseOfThreeMembers() {
    settings_.ttl = std::chrono::seconds(6);
    for (auto& member : members_) {
      settings_.members.push_back(member.url());
      member.on("/v3/lease/grant", [this](const FakeMember::Request&) { return grant(); });
      member.on("/v3/lease/keepalive", [this, &member](const FakeMember::Request&) { return renew(member); });
    }
  }

  Reply grant() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++grants_;
    renewedAt_ = Clock::now();
    return {200, R"({"ID":"7","TTL":"6"})"};
  }

  Reply renew(const FakeMember& member) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (silent_.size() < 2) {
      silent_.insert(&member);
    }
    if (silent_.count(&member) != 0) {
      return {200, "", Reply::Kind::never};
    }
    const auto now = Clock::now();
    if (now - renewedAt_ >= settings_.ttl) {
      return {200, R"({"result":{"ID":"7"}})"};
    }
    renewedAt_ = now;
    ++renewals_;
    changed_.notify_all();
    return {200, R"({"result":{"ID":"7","TTL":"6"}})"};
  }

  // Blocks until a renewal is answered.
  bool waitForRenewal() {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, spf::test::patience, [&] { return renewals_ > 0; });
  }

  int grants() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return grants_;
  }

  using Clock = std::chrono::steady_clock;
  Settings settings_;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  int grants_ = 0;
  int renewals_ = 0;
  Clock::time_point renewedAt_;
  std::set<const FakeMember*> silent_;

  // Call the above:
  std::array<FakeMember, 3> members_;
};

TEST_F(TheLeaseOfThreeMembers, DoesNotLapseIfTwoOfThemNeverAnswer) {
  ObservedRegistry sut(settings_);
  sut->put("a/1", "x");
  EXPECT_TRUE(waitForRenewal());
  EXPECT_EQ(grants(), 1);
}

TEST_F(TheLeaseOfARegistry, IsGivenBackAtTheEnd) {
  {
    ObservedRegistry sut(settings(member_, 1));
    sut->put("a/1", "x");
    ASSERT_TRUE(member_.waitFor("/v3/kv/txn", 1));
  }
  EXPECT_EQ(member_.requests("/v3/lease/revoke").at(0).body, R"({"ID":"7"})");
}

TEST_F(TheLeaseOfARegistry, IsGivenBackToAnotherMemberIfTheFirstOneIsSilent) {
  FakeMember other;
  for (auto* const member : {&member_, &other}) {
    member->on("/v3/lease/grant", Reply{200, R"({"ID":"7","TTL":"1000"})"});
  }
  auto both = settings(member_, 60);
  both.members.push_back(other.url());
  ObservedRegistry sut(both);
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitUntilCurrent());
  auto& first = member_.requests("/v3/watch").empty() ? other : member_;
  auto& second = &first == &other ? member_ : other;
  ASSERT_TRUE(first.waitFor("/v3/kv/txn", 1));
  first.on("/v3/lease/revoke", Reply{200, "", Reply::Kind::never});
  sut.end();
  EXPECT_EQ(first.requests("/v3/lease/revoke").size(), 1u);
  EXPECT_EQ(second.requests("/v3/lease/revoke").size(), 1u);
}

TEST_F(TheLeaseOfARegistry, CannotKeepTheEndWaitingForASilentMember) {
  member_.on("/v3/lease/revoke", Reply{200, "", Reply::Kind::never});
  ObservedRegistry sut(settings(member_, 3600));
  sut->put("a/1", "x");
  ASSERT_TRUE(member_.waitFor("/v3/kv/txn", 1));
  sut.end();
  EXPECT_EQ(member_.requests("/v3/lease/revoke").size(), 1u);
}

}  // namespace etcdtest
