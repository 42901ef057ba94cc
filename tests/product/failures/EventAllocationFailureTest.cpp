#include "support/Notifications.hpp"
#include "support/RecordedLog.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"
#include "support/failingAllocations.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using std::chrono::milliseconds;
using EventPointer = std::shared_ptr<const FrameworkEvent>;

namespace {

EventPointer endpoint(std::uint32_t change, const char* name, std::uint32_t count = 1) {
  return std::make_shared<EndpointEvent>(EndpointEvent{{FrameworkEvent::endpoint}, change, text(name), "p", count});
}
EventPointer services(std::uint32_t change, const char* publisher = "p") {
  return std::make_shared<ServicesEvent>(ServicesEvent{{FrameworkEvent::services}, change, publisher, 1});
}
EventPointer error() {
  return std::make_shared<ErrorEvent>(
      ErrorEvent{{FrameworkEvent::error}, makeError<std::runtime_error>("broken"), "p", 1});
}

const EventPointer bound = endpoint(EndpointEvent::bound, "b");
const EventPointer connected = endpoint(EndpointEvent::connected, "c");
const EventPointer published = services(ServicesEvent::allPublished);
const EventPointer unpublished = services(ServicesEvent::allUnpublished);
const EventPointer broken = error();

bool endpointsAreUp(FrameworkSetupListener& sut) {
  return sut.waitForAllEndpoints(milliseconds(0), "p");
}
bool servicesArePublished(FrameworkSetupListener& sut) {
  return sut.waitForAllServices(milliseconds(0), "p");
}
bool servicesAreUnpublished(FrameworkSetupListener& sut) {
  return sut.waitForAllServicesToBeUnpublished(milliseconds(0), "p");
}
bool hasFailed(FrameworkSetupListener& sut) {
  return messageOf([&] { endpointsAreUp(sut); }) == "broken";
}
bool nothingIsToBeBound(FrameworkSetupListener& sut) {
  return sut.listOutstandingEndpoints("p").second.empty();
}

// An event, what came before it, and how to see that it was taken in.
struct Event {
  const char* name;
  std::vector<EventPointer> earlier;
  EventPointer event;
  bool (*takenIn)(FrameworkSetupListener&);
  // Whether it completes the publisher, and whether it wakes waiters up.
  bool completes = true;
  bool notifies = true;
};

void PrintTo(const Event& event, std::ostream* stream) {
  *stream << event.name;
}

const Event events[] = {{"OneOfTwoEndpoints", {published}, bound, nothingIsToBeBound, false, false},
                        {"TheLastEndpointBeforeTheServices", {connected}, bound, endpointsAreUp, false},
                        {"TheLastEndpointBound", {published, connected}, bound, endpointsAreUp},
                        {"TheLastEndpointConnected", {published, bound}, connected, endpointsAreUp},
                        {"ServicesBeforeTheEndpoints", {}, published, servicesArePublished, false},
                        {"PublishedServices", {bound, connected}, published, servicesArePublished},
                        {"UnpublishedServices", {}, unpublished, servicesAreUnpublished},
                        {"AnError", {bound}, broken, hasFailed}};

const EventPointer ignoredEvents[] = {endpoint(EndpointEvent::bound, "b", 0),
                                      endpoint(EndpointEvent::bound, "an endpoint that is not outstanding"),
                                      endpoint(4, "b"),
                                      services(2),
                                      services(ServicesEvent::allPublished, "a publisher of another configuration"),
                                      std::make_shared<FrameworkEvent>(FrameworkEvent{3})};

AnyMap properties() {
  const Any config(
      AnyMap({{"endpointsToBindTo", Any(List{text("b")})}, {"endpointsToConnectTo", Any(List{text("c")})}}));
  const Any entry(AnyMap({{"uniqueID", text("p")}, {"name", text("rpcservicepublisher")}, {"config", config}}));
  return AnyMap({{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(List{entry})}});
}

class AnEventThatRunsOutOfMemory : public testing::TestWithParam<Event> {
 protected:
  RecordedLog log_{4 | 512};
};

INSTANTIATE_TEST_SUITE_P(Of, AnEventThatRunsOutOfMemory, testing::ValuesIn(events),
                         [](const auto& event) { return std::string(event.param.name); });

// Whatever the failing event brought about has to be notified, or waiters sleep on.
TEST_P(AnEventThatRunsOutOfMemory, WakesWaitersIfItCountsAndIsMadeGoodWhenItIsReportedOnceMore) {
  const Event& of = GetParam();
  FailingAllocations::inEveryRound([&of](FailingAllocations& failing) {
    int completions = 0;
    FrameworkSetupListener sut([&] { ++completions; }, properties());
    for (const auto& before : of.earlier) {
      sut.handleEvent(before);
    }
    completions = 0;
    const int notified = notificationsFromThisThread();
    const bool threw = failing.run([&] { sut.handleEvent(of.event); });
    EXPECT_EQ(threw, failing.failed());
    EXPECT_EQ(notificationsFromThisThread() - notified, of.takenIn(sut) && of.notifies ? 1 : 0);
    EXPECT_EQ(completions, !threw && of.completes ? 1 : 0);

    sut.handleEvent(of.event);
    EXPECT_TRUE(of.takenIn(sut));
    EXPECT_EQ(completions > 0, of.completes);
  });
}

TEST(AnEventThatIsIgnored, TakesNoMemory) {
  FrameworkSetupListener sut([] {}, properties());
  for (const auto& event : ignoredEvents) {
    EXPECT_EQ(allocationsOf([&] { sut.handleEvent(event); }), 0);
  }
  EXPECT_FALSE(nothingIsToBeBound(sut));
}

}  // namespace

}  // namespace spf::test
