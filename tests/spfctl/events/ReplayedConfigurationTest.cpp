#include "events/ReplayedConfiguration.hpp"

#include <gmock/gmock.h>

#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/host/services.hpp"
#include "display/publisherLines.hpp"
#include "file/readConfiguration.hpp"
#include "support/EmptyHost.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using cppmicroservices::Any;
using testing::ElementsAre;

namespace {

ConfigurationDescription described(const std::string& text) {
  auto checked = checkConfiguration({"f.json", text});
  EXPECT_EQ(checked.findings.errors(), 0u) << text;
  return std::move(checked.description);
}

RecordedServices published(const char* publisher, std::uint32_t revision = 1) {
  return {publisher, revision, ServicesEvent::allPublished};
}
RecordedServices unpublished(const char* publisher, std::uint32_t revision = 1) {
  return {publisher, revision, ServicesEvent::allUnpublished};
}
RecordedEndpoint bound(const char* publisher, const Any& endpoint, std::uint32_t revision = 1) {
  return {publisher, revision, EndpointEvent::bound, endpoint};
}
RecordedEndpoint connected(const char* publisher, const Any& endpoint, std::uint32_t revision = 1) {
  return {publisher, revision, EndpointEvent::connected, endpoint};
}
RecordedError failed(const char* publisher, const char* error = "broken", std::uint32_t revision = 1) {
  return {publisher, revision, error};
}
const std::string text = "tcp://127.0.0.1:1";

// Keeps all events that it receives, and throws on request.
class KeepingListener : public FrameworkListener {
 public:
  void handleEvent(std::shared_ptr<const FrameworkEvent> event) override {
    events.push_back(std::move(event));
    if (throwing) {
      throw std::runtime_error("thrown");
    }
  }

  std::vector<std::shared_ptr<const FrameworkEvent>> events;
  bool throwing = false;
};

class AReplayedConfiguration : public testing::Test {
 protected:
  void publish(std::uint32_t revision, const ConfigurationDescription& description, const std::string& id = "c") {
    sut_.publish({id, revision, "f.json", "unused"}, description);
  }
  std::vector<std::string> states() {
    std::vector<std::string> texts;
    for (const auto& state : sut_.states()) {
      texts.push_back(state.id + ": " + describe(state));
    }
    return texts;
  }
  std::shared_ptr<KeepingListener> registerListener() {
    auto listener = std::make_shared<KeepingListener>();
    registration_ =
        agent::host::services::getFramework()->GetBundleContext().RegisterService<FrameworkListener>(listener);
    return listener;
  }

  const ConfigurationDescription two_ = described(
      R"({"servicePublishers": [
            {"uniqueID": "p", "name": "rpcservicepublisher",
             "endpointsToBindTo": ["tcp://127.0.0.1:1"], "endpointsToConnectTo": [7, null]},
            {"uniqueID": "q", "name": "legacyservicepublisher", "endpointsToBindTo": ["tcp://127.0.0.1:1"]}]})");
  const ConfigurationDescription simple_ = described(
      R"({"servicePublishers": [{"uniqueID": "p", "name": "rpcservicepublisher", "endpointsToConnectTo": ["a"]}]})");
  const EmptyHost host_;
  ReplayedConfiguration sut_;
  cppmicroservices::ServiceRegistration<FrameworkListener> registration_;
};

}  // namespace

TEST_F(AReplayedConfiguration, HasNoStatesBeforeItIsPublished) {
  EXPECT_THAT(states(), ElementsAre());
  EXPECT_EQ(sut_.deliver(published("p")), NoEffect::early);
  EXPECT_EQ(sut_.revision(), 0u);
}

TEST_F(AReplayedConfiguration, TakesTheEventsOfItsPublishers) {
  publish(1, two_);
  EXPECT_EQ(sut_.deliver(bound("p", text)), std::nullopt);
  EXPECT_EQ(sut_.deliver(connected("p", 7)), std::nullopt);
  EXPECT_EQ(sut_.deliver(published("q")), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: to connect null; services not published", "q: ready"));
  EXPECT_EQ(sut_.deliver(published("p")), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: to connect null", "q: ready"));
  EXPECT_EQ(sut_.deliver(failed("p", "port in use")), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: failed: port in use", "q: ready"));
  EXPECT_EQ(sut_.deliver(RecordedDrop{7}), std::nullopt);
}

TEST_F(AReplayedConfiguration, TakesWhatAnEarlierRevisionHasKept) {
  publish(1, simple_);
  EXPECT_EQ(sut_.deliver(RecordedEndpoint{"p", 1, EndpointEvent::stillConnected, std::string("a")}), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: services not published"));
}

TEST_F(AReplayedConfiguration, SaysWhyAnEventHasNoEffect) {
  publish(1, two_);
  EXPECT_EQ(sut_.deliver(RecordedOther{9}), NoEffect::unknownKind);
  EXPECT_EQ(sut_.deliver(RecordedServices{"p", 1, 2}), NoEffect::unknownChange);
  EXPECT_EQ(sut_.deliver(RecordedEndpoint{"p", 1, 4, Any(7)}), NoEffect::unknownChange);
  EXPECT_EQ(sut_.deliver(published("p", 0)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(failed("nobody")), NoEffect::foreign);
  EXPECT_EQ(sut_.deliver(bound("p", std::string("tcp://localhost:1"))), NoEffect::unknownEndpoint);
  EXPECT_EQ(sut_.deliver(bound("p", 7)), NoEffect::unknownEndpoint);
  EXPECT_EQ(sut_.deliver(connected("p", std::string("7"))), NoEffect::unknownEndpoint);
  EXPECT_EQ(sut_.deliver(connected("p", Any())), NoEffect::incomparableEndpoint);
  EXPECT_EQ(sut_.deliver(bound("q", text)), NoEffect::untrackedEndpoint);
  EXPECT_THAT(states(), ElementsAre("p: to bind tcp://127.0.0.1:1; to connect 7 null; services not published",
                                    "q: services not published"));
}

TEST_F(AReplayedConfiguration, SaysThatAnEventIsRepeated) {
  publish(1, two_);
  for (const RecordedEvent& event :
       {RecordedEvent(bound("p", text)), RecordedEvent(published("p")), RecordedEvent(unpublished("p"))}) {
    EXPECT_EQ(sut_.deliver(event), std::nullopt);
    EXPECT_EQ(sut_.deliver(event), NoEffect::repeated);
  }
}

TEST_F(AReplayedConfiguration, SaysThatAPublisherIsCompleteWhileOthersAreNot) {
  publish(1, two_);
  EXPECT_EQ(sut_.deliver(published("q")), std::nullopt);
  EXPECT_EQ(sut_.deliver(published("q")), NoEffect::publisherComplete);
  EXPECT_EQ(sut_.deliver(failed("q")), NoEffect::publisherComplete);
  EXPECT_EQ(sut_.deliver(bound("q", text)), NoEffect::publisherComplete);
  EXPECT_EQ(sut_.deliver(unpublished("q")), std::nullopt);
}

TEST_F(AReplayedConfiguration, IsNotReachedAfterAllPublishersWereReadyOrHadFailed) {
  publish(1, two_);
  EXPECT_EQ(sut_.deliver(published("q")), std::nullopt);
  EXPECT_EQ(sut_.deliver(failed("p")), std::nullopt);
  EXPECT_EQ(sut_.deliver(unpublished("q")), NoEffect::tooLate);
  EXPECT_EQ(sut_.deliver(bound("p", text)), NoEffect::tooLate);
  EXPECT_EQ(sut_.deliver(published("q", 0)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(published("r")), NoEffect::foreign);
}

// The library counts a publisher that is unpublished as complete.
TEST_F(AReplayedConfiguration, MissesServicesThatArePublishedAgainAfterTheLastPublisherWasUnpublished) {
  publish(1, two_);
  EXPECT_EQ(sut_.deliver(unpublished("p")), std::nullopt);
  EXPECT_EQ(sut_.deliver(published("q")), std::nullopt);
  EXPECT_EQ(sut_.deliver(published("p")), NoEffect::tooLate);
}

TEST_F(AReplayedConfiguration, BeginsWithTheRevisionThatWasRecordedFirst) {
  publish(5, simple_);
  EXPECT_EQ(sut_.revision(), 5u);
  EXPECT_EQ(sut_.deliver(published("p", 4)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(published("p", 5)), std::nullopt);
  EXPECT_EQ(sut_.deliver(connected("p", std::string("a"), 6)), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: ready"));
}

TEST_F(AReplayedConfiguration, BeginsWithTheHighestRevisionAtOnce) {
  publish(4294967295, simple_);
  EXPECT_EQ(sut_.deliver(published("p", 4294967294)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(published("p", 4294967295)), std::nullopt);
}

TEST_F(AReplayedConfiguration, IsModifiedByAHigherRevision) {
  publish(2, simple_);
  EXPECT_EQ(sut_.deliver(published("p", 2)), std::nullopt);
  publish(7, two_);
  EXPECT_EQ(sut_.revision(), 7u);
  EXPECT_THAT(states(), ElementsAre("p: to bind tcp://127.0.0.1:1; to connect 7 null; services not published",
                                    "q: services not published"));
  EXPECT_EQ(sut_.deliver(published("p", 6)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(published("p", 7)), std::nullopt);
  EXPECT_EQ(sut_.deliver(unpublished("p", 7)), std::nullopt);
  publish(8, simple_);
  EXPECT_THAT(states(), ElementsAre("p: to connect a; services not published"));
  EXPECT_EQ(sut_.deliver(published("q", 8)), NoEffect::foreign);
  EXPECT_EQ(sut_.deliver(unpublished("p", 8)), std::nullopt);
}

TEST_F(AReplayedConfiguration, BeginsAgainWithARevisionThatIsNotHigherOrAnotherID) {
  publish(7, two_);
  for (const std::uint32_t revision : {3, 3}) {
    publish(revision, simple_);
    EXPECT_EQ(sut_.deliver(published("p", 2)), NoEffect::stale);
    EXPECT_EQ(sut_.deliver(published("p", 3)), std::nullopt);
  }
  publish(9, simple_, "d");
  EXPECT_EQ(sut_.configurationID(), "d");
  EXPECT_EQ(sut_.deliver(published("p", 8)), NoEffect::stale);
  EXPECT_EQ(sut_.deliver(published("p", 9)), std::nullopt);
}

TEST_F(AReplayedConfiguration, DeliversTheEventsToEveryListenerAsTheFrameworkDoes) {
  publish(4, two_);
  const auto listener = registerListener();
  static_cast<void>(sut_.deliver(RecordedServices{"p", 5, 9}));
  static_cast<void>(sut_.deliver(connected("p", 7, 4)));
  static_cast<void>(sut_.deliver(failed("p", "port in use", 3)));
  static_cast<void>(sut_.deliver(RecordedOther{11}));
  ASSERT_EQ(listener->events.size(), 4u);
  ASSERT_EQ(listener->events[0]->kind, FrameworkEvent::services);
  const auto& services = static_cast<const ServicesEvent&>(*listener->events[0]);
  EXPECT_EQ(services.change, 9u);
  EXPECT_EQ(services.servicePublisherID, "p");
  EXPECT_EQ(services.modificationCount, 2u);
  ASSERT_EQ(listener->events[1]->kind, FrameworkEvent::endpoint);
  const auto& endpoint = static_cast<const EndpointEvent&>(*listener->events[1]);
  EXPECT_EQ(endpoint.change, EndpointEvent::connected);
  EXPECT_EQ(cppmicroservices::any_cast<int>(endpoint.endpoint), 7);
  EXPECT_EQ(endpoint.modificationCount, 1u);
  ASSERT_EQ(listener->events[2]->kind, FrameworkEvent::error);
  const auto& error = static_cast<const ErrorEvent&>(*listener->events[2]);
  EXPECT_THROW(std::rethrow_exception(error.error), std::runtime_error);
  EXPECT_EQ(error.modificationCount, 0u);
  EXPECT_EQ(listener->events[3]->kind, 11u);
}

TEST_F(AReplayedConfiguration, TakesEventsAlsoIfAnotherListenerThrows) {
  registerListener()->throwing = true;
  publish(1, simple_);
  EXPECT_EQ(sut_.deliver(published("p")), std::nullopt);
}

TEST_F(AReplayedConfiguration, TakesAnErrorWithoutATextForAFailure) {
  publish(1, simple_);
  EXPECT_EQ(sut_.deliver(failed("p", "")), std::nullopt);
  EXPECT_THAT(states(), ElementsAre("p: failed: an error without a text"));
}

}  // namespace spf::test
