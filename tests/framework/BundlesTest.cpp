#include <cppmicroservices/AnyMap.h>
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/PeerDirectory.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::PeerDirectory;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::legacy;
using frameworktest::RunningFramework;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds longEnough{20};

class APeerDirectory : public testing::Test {
 protected:
  AnyMap ask() { return framework.service<PeerDirectory>()->ask("display", address, longEnough); }

  std::string errorOfAsking() {
    try {
      ask();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  /// Returns the names of the services in an answer.
  std::vector<std::string> servicesOf(const AnyMap& answer) {
    std::vector<std::string> names;
    for (const Any& element : cppmicroservices::any_cast<std::vector<Any>>(answer.at("services"))) {
      names.push_back(cppmicroservices::any_cast<AnyMap>(element).at("name").ToString());
    }
    return names;
  }

  void connect(const Configuration& server) {
    framework.update("server", server);
    framework.update("client", Configuration(1).publisher("display").connect(address));
    ASSERT_NE(framework.events().waitFor("connected display#1"), "");
  }

  Configuration station() {
    Configuration configuration(1);
    configuration.publisher("station").bind(address);
    return configuration.service("t", "weather.Temperature").service("h", "weather.Humidity");
  }

  RunningFramework framework;
  const std::string address = freeAddress();
};

TEST_F(APeerDirectory, ReturnsWhatAPeerPublishes) {
  connect(station());
  const AnyMap answer = ask();
  EXPECT_EQ(answer.at("publisherID").ToString(), "station");
  EXPECT_THAT(servicesOf(answer), testing::UnorderedElementsAre("weather.Temperature", "weather.Humidity"));
  const auto services = cppmicroservices::any_cast<std::vector<Any>>(answer.at("services"));
  EXPECT_EQ(cppmicroservices::any_cast<AnyMap>(services.at(0)).count("uniqueID"), 1u);
}

TEST_F(APeerDirectory, ReturnsOnlyServicesThatPassTheExportFilter) {
  connect(station().exportFilter("(unit=percent)"));
  EXPECT_THAT(servicesOf(ask()), ElementsAre("weather.Humidity"));
}

TEST_F(APeerDirectory, ReturnsTheServicesOfThePeersLatestRevision) {
  connect(station());
  framework.update("server", Configuration(2).publisher("station").bind(address));
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  EXPECT_THAT(servicesOf(ask()), IsEmpty());
}

TEST_F(APeerDirectory, ReportsThatAPublisherIsNotConnected) {
  EXPECT_THAT(errorOfAsking(), AllOf(HasSubstr("'display'"), HasSubstr(address), HasSubstr("not connected")));
}

TEST_F(APeerDirectory, PropagatesTheRefusalOfALegacyPublisher) {
  connect(Configuration(1).publisher("old", legacy).bind(address));
  EXPECT_EQ(errorOfAsking(),
            "publisher 'display', endpoint '" + address + "': the peer refuses: this endpoint answers no questions");
}

TEST_F(APeerDirectory, FailsWithoutASerialiser) {
  connect(station());
  framework.bundle("spf_json_serialiser").Stop();
  EXPECT_EQ(errorOfAsking(), "publisher 'display', endpoint '" + address + "': no serialiser is installed");
}

TEST_F(APeerDirectory, FailsWithoutATransport) {
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_THAT(errorOfAsking(), HasSubstr("no transport"));
}

/// Answers every question with the same text.
class FixedAnswerListener : public EndpointListener {
 public:
  explicit FixedAnswerListener(std::string text) : text_(std::move(text)) {}

  void opened(const std::string&) override { isOpened.open(); }
  void failed(std::exception_ptr) override {}
  void closed() override {}
  std::string answer(const std::string&, const std::string&) override { return text_; }

  spf::test::Gate isOpened;

 private:
  const std::string text_;
};

struct BadAnswer {
  const char* description;
  const char* text;
  const char* complaint;
};

void PrintTo(const BadAnswer& answer, std::ostream* out) {
  *out << answer.description;
}

class ABadAnswer : public APeerDirectory, public testing::WithParamInterface<BadAnswer> {};

TEST_P(ABadAnswer, IsRefusedWithTheEndpointAndTheReason) {
  const auto listener = std::make_shared<FixedAnswerListener>(GetParam().text);
  framework.service<Transport>()->bind({"server", address, address}, listener);
  ASSERT_TRUE(listener->isOpened.wait());
  connect(Configuration(1));
  EXPECT_THAT(errorOfAsking(),
              AllOf(HasSubstr("publisher 'display', endpoint '" + address + "': "), HasSubstr(GetParam().complaint)));
}

INSTANTIATE_TEST_SUITE_P(
    OfAPeer, ABadAnswer,
    testing::Values(
        BadAnswer{"NoJson", "{babble", "no JSON"}, BadAnswer{"Nothing", "{}", "has no text 'publisherID'"},
        BadAnswer{"NoPublisher", R"({"services":[]})", "has no text 'publisherID'"},
        BadAnswer{"ANumberForAPublisher", R"({"publisherID":1,"services":[]})", "has no text 'publisherID'"},
        BadAnswer{"NoServices", R"({"publisherID":"p"})", "has no list 'services'"},
        BadAnswer{"ATextForServices", R"({"publisherID":"p","services":"s"})", "has no list 'services'"},
        BadAnswer{"ATextForAService", R"({"publisherID":"p","services":["s"]})", "has no map in services[0]"},
        BadAnswer{"AServiceWithoutAnID", R"({"publisherID":"p","services":[{"name":"n"}]})",
                  "has no text 'uniqueID' in services[0]"},
        BadAnswer{"AServiceWithoutAName",
                  R"({"publisherID":"p","services":[{"uniqueID":"a","name":"n"},{"uniqueID":"b","name":null}]})",
                  "has no text 'name' in services[1]"}),
    [](const testing::TestParamInfo<BadAnswer>& answer) { return std::string(answer.param.description); });

TEST_F(APeerDirectory, ReceivesAnErrorForAnUnknownQuestion) {
  connect(station());
  const auto ask = [this](const std::string& request) -> std::string {
    try {
      return framework.service<Transport>()->ask("display", address, request, longEnough);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  };
  EXPECT_THAT(ask(R"({"question":"why"})"), HasSubstr("unknown question"));
  EXPECT_THAT(ask(R"({"question":42})"), HasSubstr("unknown question"));
  EXPECT_THAT(ask("{}"), HasSubstr("unknown question"));
  EXPECT_THAT(ask("babble"), HasSubstr("no JSON"));
}

TEST(TheFramework, ResumesWhenTheTransportIsRestarted) {
  RunningFramework framework;
  const auto address = freeAddress();
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  framework.bundle("spf_zeromq_transport").Stop();
  framework.bundle("spf_zeromq_transport").Start();
  EXPECT_TRUE(framework.events().waitFor("bound station#1 " + address, 2));
}

TEST(TheFramework, WaitsForATransportThatStartsLate) {
  RunningFramework framework;
  framework.bundle("spf_zeromq_transport").Stop();
  framework.update("a", Configuration(1).publisher("station").bind(freeAddress()));
  framework.update("b", Configuration(1).publisher("marker"));
  ASSERT_NE(framework.events().waitFor("published marker#1"), "");
  EXPECT_THAT(framework.events().linesWith("bound"), IsEmpty());
  framework.bundle("spf_zeromq_transport").Start();
  EXPECT_NE(framework.events().waitFor("published station#1"), "");
}

TEST(TheFramework, WaitsForADiscoveryThatStartsLate) {
  RunningFramework framework(AnyMap(AnyMap::ORDERED_MAP, {{"station", freeAddress()}}));
  framework.bundle("spf_table_discovery").Stop();
  framework.update("a", Configuration(1).publisher("station", legacy).bind("station").publisher("marker"));
  ASSERT_NE(framework.events().waitFor("published marker#1"), "");
  framework.bundle("spf_table_discovery").Start();
  EXPECT_NE(framework.events().waitFor("published station#1"), "");
}

TEST(TheFramework, ClosesItsSocketsWhenThePublishersStop) {
  RunningFramework framework;
  const auto address = freeAddress();
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  framework.bundle("spf_publishers").Stop();
  struct Listener : EndpointListener {
    void opened(const std::string&) override { isOpened.open(); }
    void failed(std::exception_ptr) override {}
    void closed() override {}
    std::string answer(const std::string&, const std::string&) override { return ""; }
    spf::test::Gate isOpened;
  };
  const auto listener = std::make_shared<Listener>();
  framework.service<Transport>()->bind({"x", address, address}, listener);
  EXPECT_TRUE(listener->isOpened.wait());
}

TEST(TheFramework, StopsInAnyOrderWhileEverythingIsOpen) {
  for (const auto* name : {"spf_controller", "spf_publishers", "spf_zeromq_transport", "spf_json_serialiser"}) {
    RunningFramework framework;
    const auto address = freeAddress();
    framework.update("server", Configuration(1).publisher("station").bind(address));
    framework.update("client", Configuration(1).publisher("display").connect(address));
    ASSERT_NE(framework.events().waitFor("connected display#1"), "");
    framework.bundle(name).Stop();
  }
}

TEST(TheFramework, CanBeStoppedWhileItStarts) {
  for (int round = 0; round < 10; ++round) {
    RunningFramework framework;
    const auto address = freeAddress();
    framework.update("server", Configuration(1).publisher("station").bind(address));
    framework.update("client", Configuration(1).publisher("display").connect(address));
  }
}

TEST(ATableDiscovery, ResolvesNamesToTextsAndLists) {
  RunningFramework framework(
      AnyMap(AnyMap::ORDERED_MAP, {{"one", std::string("tcp://a:1")},
                                   {"two", std::vector<Any>{std::string("tcp://a:1"), 42, std::string("tcp://b:2")}},
                                   {"none", 42}}));
  const auto sut = framework.service<Discovery>();
  const DiscoveredAddress first{"tcp://a:1", "", ""};
  const DiscoveredAddress second{"tcp://b:2", "", ""};
  EXPECT_THAT(sut->addressesOf("one"), ElementsAre(first));
  EXPECT_THAT(sut->addressesOf("two"), ElementsAre(first, second));
  EXPECT_THROW(sut->addressesOf("none"), std::runtime_error);
  EXPECT_THROW(sut->addressesOf("One"), std::runtime_error);
}

}  // namespace
