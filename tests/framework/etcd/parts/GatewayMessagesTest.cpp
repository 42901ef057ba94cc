#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include "base64.hpp"
#include "gatewayMessages.hpp"

namespace agent::spf::etcd {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Returns the message of what a function throws.
std::string failure(const std::function<void()>& function) {
  try {
    function();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "nothing is thrown";
}

std::string field(const std::string& name, const std::string& bytes) {
  return "\"" + name + "\":\"" + toBase64(bytes) + "\"";
}

TEST(TheEndOfAPrefix, IsTheFirstKeyBehindIt) {
  EXPECT_EQ(endOfPrefix("/spf/"), "/spf0");
  EXPECT_EQ(endOfPrefix("a\xff\xff"), "b");
  EXPECT_EQ(endOfPrefix("\x7f"), "\x80");
}

TEST(TheEndOfAPrefix, IsTheEndOfAllKeysIfNoneIsBehindIt) {
  EXPECT_EQ(endOfPrefix("\xff"), std::string(1, '\0'));
}

TEST(ARequest, HasBytesInBase64AndNumbersAsTexts) {
  EXPECT_EQ(encodeListing("/spf/"), "{" + field("key", "/spf/") + "," + field("range_end", "/spf0") + "}");
  EXPECT_EQ(encodeWatch("/", 12), "{\"create_request\":{" + field("key", "/") + "," + field("range_end", "0") +
                                      ",\"start_revision\":\"12\"}}");
  EXPECT_EQ(encodeProbe("/"), "{" + field("key", "/") + ",\"keys_only\":true}");
  EXPECT_EQ(encodeGrant(std::chrono::seconds(10)), R"({"TTL":"10"})");
  EXPECT_EQ(encodeLease(7587899081590511877), R"({"ID":"7587899081590511877"})");
  EXPECT_EQ(encodeUser("me", "a\"b"), R"({"name":"me","password":"a\"b"})");
}

TEST(ARequest, WritesAndDeletesKeysAtOnce) {
  EXPECT_EQ(encodeWrites("/", {{"a", "1"}, {"b", std::nullopt}}, 5),
            "{\"success\":[{\"request_put\":{" + field("key", "/a") + ",\"lease\":\"5\"," + field("value", "1") +
                "}},{\"request_delete_range\":{" + field("key", "/b") + "}}]}");
}

TEST(AListing, HasKeysWithoutThePrefix) {
  const auto listing = decodeListing("{\"header\":{\"revision\":\"8\"},\"kvs\":[{" + field("key", "/spf/a/1") + "," +
                                         field("value", "v") + ",\"lease\":\"3\",\"mod_revision\":\"4\"},{" +
                                         field("key", "/other") + "}]}",
                                     "/spf/");
  EXPECT_EQ(listing.revision, 8);
  ASSERT_EQ(listing.keys.size(), 1u);
  EXPECT_EQ(listing.keys[0].key, "a/1");
  EXPECT_EQ(listing.keys[0].value, "v");
  EXPECT_EQ(listing.keys[0].lease, 3);
  EXPECT_EQ(listing.keys[0].revision, 4);
}

TEST(AListing, HasNoKeysIfTheyAreLeftOut) {
  EXPECT_THAT(decodeListing(R"({"header":{"revision":"8"}})", "/").keys, IsEmpty());
}

TEST(AListing, NeedsARevision) {
  EXPECT_EQ(failure([] { decodeListing("{}", "/"); }), "a listing without a revision");
}

TEST(AnAnswer, IsRefusedWithWhatIsWrong) {
  const auto list = [](const std::string& body) { return failure([&] { decodeListing(body, "/"); }); };
  EXPECT_EQ(list(""), "an answer that is no JSON object");
  EXPECT_EQ(list("<html>"), "an answer that is no JSON object");
  EXPECT_EQ(list("[]"), "an answer that is no JSON object");
  EXPECT_EQ(list(R"({"header":1})"), "an answer whose 'header' is not an object");
  EXPECT_EQ(list(R"({"header":{"revision":"x"}})"), "an answer whose 'revision' is not a number");
  EXPECT_EQ(list(R"({"header":{"revision":"99999999999999999999"}})"), "an answer whose 'revision' is not a number");
  EXPECT_EQ(list(R"({"header":{"revision":"1"},"kvs":{}})"), "an answer whose 'kvs' is not an array");
  EXPECT_EQ(list(R"({"header":{"revision":"1"},"kvs":[{"key":1}]})"), "an answer whose 'key' is not a text");
  EXPECT_EQ(list(R"({"header":{"revision":"1"},"kvs":[{"key":"!"}]})"), "a value that is not base64");
}

TEST(AMessageOfAWatch, HasChanges) {
  const auto answer =
      decodeWatch("{\"result\":{\"events\":[{\"kv\":{" + field("key", "/a") + "," + field("value", "1") +
                      ",\"mod_revision\":\"7\"}},{\"type\":\"DELETE\",\"kv\":{" + field("key", "/b") + "}}]}}",
                  "/");
  ASSERT_EQ(answer.changes.size(), 2u);
  EXPECT_EQ(answer.changes[0].kind, Change::Kind::put);
  EXPECT_EQ(answer.changes[0].key.key, "a");
  EXPECT_EQ(answer.changes[0].key.value, "1");
  EXPECT_EQ(answer.changes[0].key.revision, 7);
  EXPECT_EQ(answer.changes[1].kind, Change::Kind::deleted);
  EXPECT_EQ(answer.changes[1].key.key, "b");
  EXPECT_FALSE(answer.isCreated || answer.isCancelled);
}

TEST(AMessageOfAWatch, SaysWhetherItIsCreatedOrCancelled) {
  EXPECT_TRUE(decodeWatch(R"({"result":{"created":true}})", "/").isCreated);
  const auto cancelled =
      decodeWatch(R"({"result":{"canceled":true,"compact_revision":"5","cancel_reason":"because"}})", "/");
  EXPECT_TRUE(cancelled.isCancelled);
  EXPECT_EQ(cancelled.compacted, 5);
  EXPECT_EQ(cancelled.reason, "because");
}

TEST(AMessageOfAWatch, MayBeAFailure) {
  EXPECT_EQ(failure([] { decodeWatch(R"({"error":{"grpc_code":14,"message":"gone"}})", "/"); }), "gone");
  EXPECT_EQ(failure([] { decodeWatch(R"({"error":"gone"})", "/"); }), "gone");
}

TEST(ALease, HasTheTimeToLiveThatWasGranted) {
  const auto lease = decodeGrant(R"({"ID":"7","TTL":"20"})");
  EXPECT_EQ(lease.id, 7);
  EXPECT_EQ(lease.ttl, std::chrono::seconds(20));
  EXPECT_EQ(decodeKeepAlive(R"({"result":{"ID":"7","TTL":"20"}})").ttl, std::chrono::seconds(20));
}

TEST(ALease, HasLapsedIfItsTimeToLiveIsLeftOut) {
  EXPECT_EQ(decodeKeepAlive(R"({"result":{"ID":"7"}})").ttl, std::chrono::seconds(0));
}

TEST(ALease, NeedsAnIDAndATimeToLiveWhenItIsGranted) {
  for (const auto* const body : {"{}", R"({"ID":"7"})", R"({"TTL":"7"})", R"({"ID":"7","TTL":"-1"})"}) {
    EXPECT_EQ(failure([&] { decodeGrant(body); }), "a lease without an ID or a time to live");
  }
}

TEST(ALease, HasATimeToLiveThatCanBeReckonedWith) {
  EXPECT_LT(decodeGrant(R"({"ID":"7","TTL":"9223372036854775807"})").ttl, std::chrono::hours(24 * 366));
}

TEST(AnAnswerToWrites, HasARevisionIfTheySucceeded) {
  EXPECT_EQ(decodeRevision(R"({"header":{"revision":"9"},"succeeded":true})"), 9);
  EXPECT_EQ(failure([] { decodeRevision(R"({"header":{"revision":"9"}})"); }),
            "an answer that says nothing of the writes");
}

TEST(AToken, MayBecomeALineOfAHeader) {
  EXPECT_EQ(decodeToken(R"({"token":"abc.1"})"), "abc.1");
  for (const auto* const body : {"{}", R"({"token":""})", R"({"token":"a\r\nX: y"})", R"({"token":"a\u0000"})"}) {
    EXPECT_EQ(failure([&] { decodeToken(body); }), "an answer without a usable token");
  }
}

TEST(ARefusal, HasTheGatewaysCodeAndMessage) {
  const auto refusal = decodeRefusal(R"({"error":"e","message":"e","code":5})", 404);
  EXPECT_EQ(refusal.code, 5);
  EXPECT_EQ(refusal.message, "e");
  const auto stream = decodeRefusal(R"({"error":{"grpc_code":16,"http_code":401,"message":"m"}})", 401);
  EXPECT_EQ(stream.code, 16);
  EXPECT_EQ(stream.message, "m");
}

TEST(ARefusal, HasTheStatusAndTheFirstLineOfAnythingElse) {
  EXPECT_EQ(decodeRefusal("", 500).message, "HTTP status 500");
  EXPECT_EQ(decodeRefusal("Not Found\nat all", 404).message, "HTTP status 404: Not Found");
  EXPECT_EQ(decodeRefusal("{}", 500).message, "HTTP status 500: {}");
  EXPECT_LT(decodeRefusal(std::string(10000, 'x'), 500).message.size(), 300u);
}

}  // namespace agent::spf::etcd
