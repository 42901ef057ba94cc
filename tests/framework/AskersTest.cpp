#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include "support/FakeTransport.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::FakeTransport;
using frameworktest::legacy;
using frameworktest::RunningFramework;
using testing::AllOf;
using testing::HasSubstr;
using List = std::vector<Any>;

constexpr auto question = R"({"question":"whatDoYouPublish"})";

AnyMap properties(const Any& allow) {
  return AnyMap(AnyMap::ORDERED_MAP, {{"spf.curve.allow", allow}});
}

Any text(const std::string& value) {
  return value;
}

/// Publishers that answer some peers, and a transport through which the test asks.
class APublisherThatIsAsked : public testing::Test {
 protected:
  void update(int count, const std::string& publisher, const std::string& service = "") {
    Configuration configuration(count);
    configuration.publisher(publisher).bind("tcp://" + publisher + ":1");
    if (!service.empty()) {
      configuration.service("s", service);
    }
    framework.update("weather-" + publisher, configuration);
  }

  /// Publishes a publisher whose socket is that of this number.
  void publish(const std::string& publisher, std::size_t number) {
    update(1, publisher, "weather.Temperature");
    transport->endpoint(number).opened("tcp://" + publisher + ":1");
    ASSERT_NE(framework.events().waitFor("published " + publisher + "#1"), "");
  }

  /// Asks over the connection to a socket.
  /// \return the answer, or the refusal
  std::string ask(std::size_t number, const std::string& asker, const std::string& request = question) {
    try {
      return transport->endpoint(number).answer(request, asker);
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  RunningFramework framework{{},
                             properties(AnyMap(AnyMap::ORDERED_MAP, {{"station", List{text("alice"), text("bob")}},
                                                                     {"gauge", text("carol")},
                                                                     {"closed", List{}},
                                                                     {"Mixed", List{}}}))};
  const std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
  const cppmicroservices::ServiceRegistration<Transport> registration = framework.context().RegisterService<Transport>(
      transport, {{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}});
};

TEST_F(APublisherThatIsAsked, AnswersThoseOfItsEntry) {
  publish("station", 1);
  for (const auto* asker : {"alice", "bob"}) {
    EXPECT_THAT(ask(1, asker), AllOf(HasSubstr("station"), HasSubstr("weather.Temperature"))) << asker;
  }
  EXPECT_EQ(ask(1, "carol"), "the publisher 'station' does not answer 'carol'");
  EXPECT_EQ(ask(1, ""), "the publisher 'station' does not answer peers without a key");
}

TEST_F(APublisherThatIsAsked, AnswersEverybodyWithoutAnEntry) {
  publish("display", 1);
  for (const auto* asker : {"alice", "carol", ""}) {
    EXPECT_THAT(ask(1, asker), HasSubstr("weather.Temperature")) << asker;
  }
}

TEST_F(APublisherThatIsAsked, AnswersEverybodyIfOnlyAnIDOfAnotherCaseHasAnEntry) {
  publish("mixed", 1);
  EXPECT_THAT(ask(1, "alice"), HasSubstr("weather.Temperature"));
  publish("Mixed", 2);
  EXPECT_EQ(ask(2, "alice"), "the publisher 'Mixed' does not answer 'alice'");
}

TEST_F(APublisherThatIsAsked, AnswersNobodyIfItsEntryIsEmpty) {
  publish("closed", 1);
  EXPECT_EQ(ask(1, "alice"), "the publisher 'closed' does not answer 'alice'");
  EXPECT_EQ(ask(1, ""), "the publisher 'closed' does not answer peers without a key");
}

TEST_F(APublisherThatIsAsked, HasAnEntryOfItsOwn) {
  publish("station", 1);
  publish("gauge", 2);
  EXPECT_THAT(ask(1, "alice"), HasSubstr("station"));
  EXPECT_EQ(ask(2, "alice"), "the publisher 'gauge' does not answer 'alice'");
  EXPECT_EQ(ask(1, "carol"), "the publisher 'station' does not answer 'carol'");
  EXPECT_THAT(ask(2, "carol"), HasSubstr("gauge"));
}

TEST_F(APublisherThatIsAsked, ReadsNothingOfWhatARefusedPeerSends) {
  publish("station", 1);
  for (const auto* request : {"", "{", "nonsense", R"({"question":"who are you"})"}) {
    EXPECT_EQ(ask(1, "carol", request), "the publisher 'station' does not answer 'carol'") << request;
  }
  framework.bundle("spf_json_serialiser").Stop();
  EXPECT_EQ(ask(1, "carol"), "the publisher 'station' does not answer 'carol'");
  EXPECT_EQ(ask(1, "alice"), "no serialiser is installed");
}

TEST_F(APublisherThatIsAsked, ListensToTheProvedNameWhateverTheRequestSays) {
  publish("station", 1);
  EXPECT_EQ(ask(1, "carol", R"({"question":"whatDoYouPublish","publisherID":"display","asker":"alice"})"),
            "the publisher 'station' does not answer 'carol'");
}

TEST_F(APublisherThatIsAsked, KeepsItsEntryInALaterRevision) {
  publish("station", 1);
  update(2, "station", "weather.Humidity");
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  EXPECT_THAT(ask(1, "alice"), HasSubstr("weather.Humidity"));
  EXPECT_EQ(ask(1, "carol"), "the publisher 'station' does not answer 'carol'");
}

TEST_F(APublisherThatIsAsked, KeepsItsEntryIfItIsPublishedAnew) {
  publish("station", 1);
  framework.remove("weather-station");
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  framework.events().clear();
  publish("station", 2);
  EXPECT_THAT(ask(2, "bob"), HasSubstr("weather.Temperature"));
  EXPECT_EQ(ask(2, "carol"), "the publisher 'station' does not answer 'carol'");
}

TEST_F(APublisherThatIsAsked, AnswersNobodyIfItIsALegacyOne) {
  framework.update("weather", Configuration(1).publisher("station", legacy).bind("tcp://station:1"));
  for (const auto* asker : {"alice", "carol", ""}) {
    EXPECT_EQ(ask(1, asker), "this endpoint answers no questions") << asker;
  }
}

TEST(ThePublishers, DoNotStartIfTheirAskersCannotBeRead) {
  try {
    const RunningFramework framework({}, properties(AnyMap(AnyMap::ORDERED_MAP, {{"station", text("a b")}})));
    ADD_FAILURE() << "they start";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), AllOf(HasSubstr("libspf_publishers.so"), HasSubstr("'spf.curve.allow'"),
                                    HasSubstr("'station'"), HasSubstr("'a b'"), HasSubstr("expected 1 to 64 letters")));
  }
}

}  // namespace
