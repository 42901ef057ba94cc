#include <chrono>

#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "matchers.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkwatch::PublisherWatch;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::RunningFramework;
using spf::test::patience;
using testing::HasSubstr;
using testing::SizeIs;
using watchtest::isResult;
using watchtest::Names;

const Names publishers = {"indoor", "outdoor", "spare"};

Configuration configuration(int revision, const std::string& indoor, const std::string& outdoor) {
  return Configuration(revision)
      .publisher("indoor")
      .bind(indoor)
      .service("temperature", "weather.Temperature")
      .publisher("outdoor")
      .bind(outdoor)
      .service("humidity", "weather.Humidity")
      .publisher("spare", frameworktest::legacy);
}

TEST(AWatchOfTheReferenceFramework, SeesAllPublishersGoBeforeTheirIDsAreUsedAgain) {
  RunningFramework framework;
  const auto indoor = freeAddress();
  const auto outdoor = freeAddress();
  for (int round = 0; round < 5; ++round) {
    PublisherWatch sut(framework.context(), publishers);
    framework.update("weather", configuration(1, indoor, outdoor));
    ASSERT_THAT(sut.waitUntilAllPublished(patience), isResult(true, {}, {}, {}));
    framework.remove("weather");
    ASSERT_THAT(sut.waitUntilAllUnpublished(patience), isResult(true, {}, {}, {}));
  }
}

TEST(AWatchOfTheReferenceFramework, FollowsAModification) {
  RunningFramework framework;
  const auto indoor = freeAddress();
  const auto outdoor = freeAddress();
  PublisherWatch sut(framework.context(), publishers);
  framework.update("weather", configuration(1, indoor, outdoor));
  ASSERT_TRUE(sut.waitUntilAllPublished(patience));
  framework.update("weather", configuration(2, outdoor, indoor));
  sut.expectRevision(2);
  ASSERT_THAT(sut.waitUntilAllPublished(patience), isResult(true, {}, {}, {}));
  framework.remove("weather");
  EXPECT_THAT(sut.waitUntilAllUnpublished(patience), isResult(true, {}, {}, {}));
}

// Hence the documented rule that a revision with other publishers needs a watch of its own.
TEST(AWatchOfTheReferenceFramework, SeesAPublisherGoThatAModificationRemovesInItsLastRevisionOnly) {
  RunningFramework framework;
  const auto indoor = freeAddress();
  PublisherWatch ofBefore(framework.context(), publishers, 3);
  PublisherWatch ofAfter(framework.context(), publishers, 3);
  framework.update("weather", configuration(3, indoor, freeAddress()));
  ASSERT_TRUE(ofBefore.waitUntilAllPublished(patience));
  ofAfter.expectRevision(4);
  framework.update("weather", Configuration(4).publisher("indoor").bind(indoor));
  ASSERT_NE(framework.events().waitFor("unpublished outdoor#3"), "");
  ASSERT_NE(framework.events().waitFor("unpublished spare#3"), "");
  ASSERT_NE(framework.events().waitFor("published indoor#4"), "");
  framework.remove("weather");
  EXPECT_THAT(ofBefore.waitUntilAllUnpublished(patience, patience), isResult(true, {}, {}, {}));
  EXPECT_THAT(ofAfter.waitUntilAllUnpublished(patience, std::chrono::milliseconds(0)),
              isResult(true, {}, {}, {"outdoor", "spare"}));
}

TEST(AWatchOfTheReferenceFramework, NamesThePublisherThatFails) {
  RunningFramework framework;
  PublisherWatch sut(framework.context(), publishers);
  framework.update("weather", configuration(1, freeAddress(), "nonsense://address"));
  const auto published = sut.waitUntilAllPublished(patience);
  EXPECT_FALSE(published);
  ASSERT_THAT(published.failed, SizeIs(1));
  EXPECT_EQ(published.failed.front().servicePublisherID, "outdoor");
  EXPECT_THAT(published.failed.front().reason, HasSubstr("nonsense"));
  framework.remove("weather");
  EXPECT_TRUE(sut.waitUntilAllUnpublished(patience));
}

}  // namespace
