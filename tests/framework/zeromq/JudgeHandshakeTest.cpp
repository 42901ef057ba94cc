#include "judgeHandshake.hpp"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "agent/spf/security/SecretKey.hpp"

namespace {

using agent::spf::security::PublicKey;
using agent::spf::security::SecretKey;
using agent::spf::security::TrustedKeys;
using spf::zeromq::judgeHandshake;
using spf::zeromq::refuse;
using testing::ElementsAre;

std::string bytesOf(const PublicKey& key) {
  return {key.bytes().begin(), key.bytes().end()};
}

class AJudgement : public testing::Test {
 protected:
  std::vector<std::string> requestOf(const PublicKey& key) const {
    return {"1.0", "7", "42", "127.0.0.1", "identity", "CURVE", bytesOf(key)};
  }

  int statusOf(const std::vector<std::string>& request) const { return judgeHandshake(request, trusted).status; }

  const PublicKey alice = SecretKey::generate().publicKey();
  const PublicKey stranger = SecretKey::generate().publicKey();
  const TrustedKeys trusted{{{"alice", alice}}, {}, {}};
};

TEST_F(AJudgement, AcceptsATrustedKeyUnderItsName) {
  const auto sut = judgeHandshake(requestOf(alice), trusted);
  EXPECT_EQ(sut.domain, "42");
  EXPECT_EQ(sut.key, alice);
  EXPECT_THAT(sut.frames(), ElementsAre("1.0", "7", "200", "key trusted", "alice", ""));
}

TEST_F(AJudgement, RefusesAnyOtherKey) {
  const auto sut = judgeHandshake(requestOf(stranger), trusted);
  EXPECT_EQ(sut.key, std::nullopt);
  EXPECT_THAT(sut.frames(), ElementsAre("1.0", "7", "400", "key unknown", "", ""));
}

TEST_F(AJudgement, DependsOnTheKeyOnly) {
  auto request = requestOf(stranger);
  request[3] = "alice";
  request[4] = "alice";
  EXPECT_EQ(statusOf(request), 400);
}

TEST_F(AJudgement, RefusesOtherMechanisms) {
  for (const std::string mechanism : {"NULL", "PLAIN", "GSSAPI", "curve", "CURVE ", ""}) {
    auto request = requestOf(alice);
    request[5] = mechanism;
    EXPECT_EQ(statusOf(request), 400) << mechanism;
  }
}

TEST_F(AJudgement, RefusesKeysOfAnotherSize) {
  for (const auto& key : {std::string(), bytesOf(alice).substr(1), bytesOf(alice) + '\0', alice.text()}) {
    auto request = requestOf(alice);
    request[6] = key;
    EXPECT_EQ(statusOf(request), 400) << key.size();
  }
}

TEST_F(AJudgement, RefusesOtherVersions) {
  for (const std::string version : {"", "1", "1.00", "2.0"}) {
    auto request = requestOf(alice);
    request[0] = version;
    EXPECT_EQ(statusOf(request), 500) << version;
  }
}

TEST_F(AJudgement, RefusesRequestsWithTooFewOrTooManyFrames) {
  const auto whole = requestOf(alice);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(statusOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)}), 500) << size;
  }
  auto request = whole;
  request.push_back(bytesOf(alice));
  EXPECT_EQ(statusOf(request), 500);
}

TEST_F(AJudgement, AnswersTheRequestThatItRefuses) {
  EXPECT_THAT(judgeHandshake({"2.0", "9"}, trusted).frames(), ElementsAre("1.0", "9", "500", testing::_, "", ""));
  EXPECT_THAT(judgeHandshake({}, trusted).frames(), ElementsAre("1.0", "", "500", testing::_, "", ""));
}

TEST_F(AJudgement, HasNoNameAfterItWasTurnedIntoARefusal) {
  const auto sut = refuse(judgeHandshake(requestOf(alice), trusted), 300, "later");
  EXPECT_EQ(sut.key, std::nullopt);
  EXPECT_THAT(sut.frames(), ElementsAre("1.0", "7", "300", "later", "", ""));
}

}  // namespace
