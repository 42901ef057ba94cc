#include "commands/LiveConfiguration.hpp"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "control/FailingInstallations.hpp"
#include "file/readConfiguration.hpp"
#include "support/EmptyHost.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

SharedSource sourceOf(const std::string& publishers) {
  const auto text = R"({"configurationID": "c", "servicePublishers": [)" + publishers + "]}";
  return std::make_shared<const ConfigurationSource>(
      ConfigurationSource{"/f.json", text, checkConfiguration({"/f.json", text}).description});
}

constexpr auto p = R"({"uniqueID": "p", "name": "rpcservicepublisher"})";
constexpr auto pAndQ = R"({"uniqueID": "p", "name": "rpcservicepublisher"},
                          {"uniqueID": "q", "name": "rpcservicepublisher"})";

class ALiveConfiguration : public testing::Test {
 protected:
  ~ALiveConfiguration() override { failInstallations(0); }

  // Sends an event as a publisher of the framework does.
  static void send(decltype(ServicesEvent::allPublished) change, const std::string& publisher, std::uint32_t revision) {
    auto context = agent::host::services::getFramework()->GetBundleContext();
    const auto event =
        std::make_shared<const ServicesEvent>(ServicesEvent{{FrameworkEvent::services}, change, publisher, revision});
    for (const auto& reference : context.GetServiceReferences<FrameworkListener>()) {
      context.GetService(reference)->handleEvent(event);
    }
  }

  const EmptyHost host_;
  Changes changes_;
  EventRecorder recorder_{agent::host::services::getFramework()->GetBundleContext()};
  LiveConfiguration sut_{sourceOf(pAndQ), changes_, recorder_};
};

/// Has the records that a test gives it, which never change.
class FixedRecords : public EndpointStatus {
 public:
  explicit FixedRecords(std::vector<EndpointState> records) : records_(std::move(records)) {}

  std::vector<EndpointState> list() const override { return records_; }
  ListenerID addListener(std::function<void()>) override { return 1; }
  void removeListener(ListenerID) override {}

 private:
  const std::vector<EndpointState> records_;
};

EndpointState bound(const std::string& publisher, const std::string& endpoint, std::uint32_t refused,
                    const std::string& reason) {
  EndpointState state{};
  state.servicePublisherID = publisher;
  state.direction = EndpointState::Direction::bind;
  state.endpoint = endpoint;
  state.phase = EndpointState::Phase::up;
  state.refusedHandshakes = refused;
  state.lastRefusal = reason;
  return state;
}

}  // namespace

TEST_F(ALiveConfiguration, HasThePeersThatEachEndpointHasRefusedOverAllOfItsSockets) {
  agent::host::services::getFramework()->GetBundleContext().RegisterService<EndpointStatus>(
      std::make_shared<FixedRecords>(std::vector<EndpointState>{
          bound("p", "name", 4000000000u, "key unknown"), bound("p", "name", 4000000000u, "no encryption"),
          bound("p", "name", 0, ""), bound("p", "other", 1, "key unknown"), bound("p", "none", 0, ""),
          bound("q", "name", 2, "handshake failed")}));
  sut_.publish();
  const auto states = sut_.states();
  ASSERT_EQ(states.size(), 2u);
  ASSERT_EQ(states[0].refused.size(), 2u);
  EXPECT_EQ(states[0].refused[0].endpoint, "name");
  EXPECT_EQ(states[0].refused[0].count, 8000000000u);
  EXPECT_EQ(states[0].refused[0].last, "no encryption");
  EXPECT_EQ(states[0].refused[1].endpoint, "other");
  EXPECT_EQ(states[0].refused[1].count, 1u);
  ASSERT_EQ(states[1].refused.size(), 1u);
  EXPECT_EQ(states[1].refused[0].count, 2u);
  EXPECT_THAT(states[0].outstanding, IsEmpty());
}

TEST_F(ALiveConfiguration, WaitsAtItsWithdrawalForPublishersThatAnEarlierRevisionHad) {
  sut_.publish();
  send(ServicesEvent::allPublished, "p", 1);
  send(ServicesEvent::allPublished, "q", 1);
  sut_.modify(sourceOf(p));
  send(ServicesEvent::allPublished, "p", 2);
  EXPECT_EQ(sut_.revision(), 2u);
  sut_.withdraw();
  EXPECT_THAT(sut_.remainder().publishers, testing::UnorderedElementsAre("p", "q"));
  send(ServicesEvent::allUnpublished, "p", 2);
  EXPECT_THAT(sut_.remainder().publishers, ElementsAre("q"));
  EXPECT_FALSE(sut_.remainder().isDone);
  send(ServicesEvent::allUnpublished, "q", 1);
  EXPECT_TRUE(sut_.remainder().isDone);
}

TEST_F(ALiveConfiguration, FollowsAPublisherThatALaterRevisionHasAgainOnlyThere) {
  sut_.publish();
  send(ServicesEvent::allPublished, "p", 1);
  send(ServicesEvent::allPublished, "q", 1);
  sut_.modify(sourceOf(p));
  sut_.modify(sourceOf(pAndQ));
  send(ServicesEvent::allPublished, "p", 3);
  send(ServicesEvent::allPublished, "q", 3);
  sut_.withdraw();
  send(ServicesEvent::allUnpublished, "p", 3);
  send(ServicesEvent::allUnpublished, "q", 3);
  EXPECT_THAT(sut_.remainder().publishers, IsEmpty());
  EXPECT_TRUE(sut_.remainder().isDone);
}

TEST_F(ALiveConfiguration, IsPublishedAnewAsARevisionThatNobodyHasSeen) {
  sut_.publish();
  send(ServicesEvent::allPublished, "p", 1);
  sut_.modify(sourceOf(pAndQ));
  sut_.modify(sourceOf(pAndQ));
  failInstallations(1);
  EXPECT_THROW(sut_.modify(sourceOf(p)), std::runtime_error);
  EXPECT_TRUE(sut_.isLost());
  sut_.republish();
  EXPECT_FALSE(sut_.isLost());
  EXPECT_EQ(sut_.revision(), 4u);
  EXPECT_EQ(sut_.id(), "c");
  sut_.modify(sourceOf(p));
  EXPECT_EQ(sut_.revision(), 5u);
}

TEST_F(ALiveConfiguration, StaysLostUntilAPublicationSucceeds) {
  sut_.publish();
  for (const int failures : {1, 2}) {
    failInstallations(failures);
    EXPECT_THROW(sut_.modify(sourceOf(p)), std::runtime_error);
    EXPECT_TRUE(sut_.isLost());
    if (failures == 2) {
      EXPECT_THROW(sut_.republish(), std::runtime_error);
      EXPECT_TRUE(sut_.isLost());
    }
    sut_.republish();
    EXPECT_FALSE(sut_.isLost());
  }
}

TEST_F(ALiveConfiguration, ThatWasPublishedAnewTakesNoLateEventOfItsOldRevisionsForItsOwn) {
  sut_.publish();
  send(ServicesEvent::allPublished, "p", 1);
  send(ServicesEvent::allPublished, "q", 1);
  failInstallations(1);
  EXPECT_THROW(sut_.modify(sourceOf(p)), std::runtime_error);
  sut_.republish();
  ASSERT_EQ(sut_.revision(), 2u);
  send(ServicesEvent::allUnpublished, "p", 1);
  send(ServicesEvent::allUnpublished, "q", 1);
  send(ServicesEvent::allPublished, "p", 2);
  send(ServicesEvent::allPublished, "q", 2);
  for (const auto& state : sut_.states()) {
    EXPECT_TRUE(state.servicesPublished) << state.id;
  }
  sut_.withdraw();
  EXPECT_THAT(sut_.remainder().publishers, testing::UnorderedElementsAre("p", "q"));
  send(ServicesEvent::allUnpublished, "p", 2);
  send(ServicesEvent::allUnpublished, "q", 2);
  EXPECT_TRUE(sut_.remainder().isDone);
}

}  // namespace spf::test
