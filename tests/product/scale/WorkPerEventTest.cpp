#include <algorithm>
#include <future>

#include "Work.hpp"
#include "setup/diagnosticLog.hpp"
#include "spf/test/Gate.hpp"
#include "support/TestFramework.hpp"
#include "support/endpoints.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using EventPointer = std::shared_ptr<const FrameworkEvent>;

constexpr std::uint32_t ownCount = 5;

Any publisherEntry(const std::string& id, List toBind, List toConnect) {
  return AnyMap({{"uniqueID", Any(id)},
                 {"name", text("rpcservicepublisher")},
                 {"config", AnyMap({{"endpointsToBindTo", Any(std::move(toBind))},
                                    {"endpointsToConnectTo", Any(std::move(toConnect))}})}});
}

std::unique_ptr<FrameworkSetupListener> listenerOf(List publishers) {
  return std::make_unique<FrameworkSetupListener>(
      [] {}, AnyMap({{"modificationCount", Any(static_cast<int>(ownCount))},
                     {"servicePublisherConfigurations", Any(std::move(publishers))}}));
}

List countedEndpoints(int number) {
  List list;
  for (int i = 0; i < number; ++i) {
    list.emplace_back(CountedEndpoint(i));
  }
  return list;
}

EventPointer endpointEvent(std::uint32_t change, Any endpoint, std::uint32_t count = ownCount,
                           const char* publisherID = "p") {
  return std::make_shared<EndpointEvent>(
      EndpointEvent{{FrameworkEvent::endpoint}, change, std::move(endpoint), publisherID, count});
}

EventPointer servicesEvent(std::uint32_t change, std::uint32_t count, const char* publisherID) {
  return std::make_shared<ServicesEvent>(ServicesEvent{{FrameworkEvent::services}, change, publisherID, count});
}

// Events that change nothing for a listener of publisher "p" in revision 5.
std::vector<EventPointer> foreignEvents(const Any& endpoint) {
  return {endpointEvent(EndpointEvent::bound, endpoint, ownCount - 1),
          endpointEvent(EndpointEvent::connected, endpoint, ownCount, "stranger"),
          endpointEvent(99, endpoint),
          servicesEvent(ServicesEvent::allPublished, ownCount - 1, "p"),
          servicesEvent(ServicesEvent::allUnpublished, ownCount, "stranger"),
          servicesEvent(99, ownCount, "p"),
          std::make_shared<ErrorEvent>(ErrorEvent{{FrameworkEvent::error}, nullptr, "p", ownCount - 1}),
          std::make_shared<ErrorEvent>(ErrorEvent{{FrameworkEvent::error}, nullptr, "stranger", ownCount}),
          std::make_shared<FrameworkEvent>(FrameworkEvent{99})};
}

class TheWorkOfAnEvent : public testing::TestWithParam<int> {
 protected:
  // Makes the logger, which the first report of a process would otherwise do.
  static void SetUpTestSuite() { agent::spf::frameworksetup::logProgress(""); }
};

INSTANTIATE_TEST_SUITE_P(AtScale, TheWorkOfAnEvent, testing::Values(1, 10, 100), testing::PrintToStringParamName());

TEST_P(TheWorkOfAnEvent, IsOneComparisonForEachOutstandingEndpointAndNoAllocation) {
  const int endpoints = 10 * GetParam();
  const auto sut = listenerOf({publisherEntry("p", countedEndpoints(endpoints), countedEndpoints(endpoints))});
  for (const auto change : {EndpointEvent::bound, EndpointEvent::connected}) {
    const auto unknown = endpointEvent(change, Any(CountedEndpoint(-1)));
    const auto first = endpointEvent(change, Any(CountedEndpoint(0)));
    const auto last = endpointEvent(change, Any(CountedEndpoint(endpoints - 1)));
    int outstanding = endpoints;
    for (const auto& [event, removes] : {std::make_pair(unknown, 0), {last, 1}, {first, 1}, {first, 0}}) {
      const auto work = workOf([&, event = event] { sut->handleEvent(event); });
      EXPECT_EQ(work.comparisons, outstanding);
      EXPECT_EQ(work.allocations, 0);
      EXPECT_EQ(work.copies, 0);
      EXPECT_LE(work.hashes, 1);
      report("comparisons", GetParam(), work.comparisons);
      report("allocations", GetParam(), work.allocations);
      outstanding -= removes;
    }
  }
}

// Texts are compared in a way of their own. These are too long to stand in their strings.
TEST_P(TheWorkOfAnEvent, OfATextIsNoAllocationAndKeepsTheOrderOfTheOtherTexts) {
  const auto longText = [](int number) { return Any(std::string(100, 't') + std::to_string(number)); };
  List endpoints;
  for (int number = 0; number < 10 * GetParam(); ++number) {
    endpoints.push_back(longText(number));
    endpoints.push_back(longText(-1));
  }
  endpoints.emplace_back(1);
  List outstanding = endpoints;
  const auto sut = listenerOf({publisherEntry("p", endpoints, {})});
  for (const int number : {-2, 10 * GetParam() - 1, 0, -1}) {
    const auto event = endpointEvent(EndpointEvent::bound, longText(number));
    EXPECT_EQ(workOf([&] { sut->handleEvent(event); }).allocations, 0);
    const auto isEqual = [&](const Any& endpoint) { return endpoint == longText(number); };
    outstanding.erase(std::remove_if(outstanding.begin(), outstanding.end(), isEqual), outstanding.end());
    EXPECT_TRUE(Any(sut->listOutstandingEndpoints("p").second) == Any(outstanding)) << number;
  }
}

TEST_P(TheWorkOfAnEvent, IsOneLookUpAndNothingElseForAListenerThatItIsNotFor) {
  List publishers{publisherEntry("p", countedEndpoints(10), {})};
  for (int number = 1; number < GetParam(); ++number) {
    publishers.push_back(publisherEntry("p" + std::to_string(number), countedEndpoints(10), {}));
  }
  const auto sut = listenerOf(publishers);
  int mostHashes = 0;
  for (const auto& event : foreignEvents(Any(CountedEndpoint(0)))) {
    const auto work = workOf([&] { sut->handleEvent(event); });
    EXPECT_EQ(work.allocations, 0);
    EXPECT_EQ(work.comparisons, 0);
    EXPECT_EQ(work.copies, 0);
    mostHashes = std::max(mostHashes, work.hashes);
  }
  EXPECT_LE(mostHashes, 1);
  report("hashes", GetParam(), mostHashes);
}

// One thread holds the publisher's lock while it compares, another one the lock of the completed
// publishers while it allocates.
TEST(AMessageWhoseLevelIsOff, TakesNoMemory) {
  using namespace agent::spf::frameworksetup;
  logProgress("");
  const std::string longValue(5000, 'x');
  const Any endpoint(longValue);
  const auto work = workOf([&] {
    logProgress("message");
    logProgress("message", longValue);
    logProgress("message", endpoint);
    logSwallowedException("message");
  });
  EXPECT_EQ(work.allocations, 0);
}

TEST(AnEventThatIsNotForAListener, PassesWhileOtherEventsHoldTheLocksOfTheListener) {
  Gate comparing;
  Gate allocating;
  Gate goOn;
  const Any observed(ObservedEndpoint{"x", [&] {
                                        comparing.open();
                                        EXPECT_TRUE(goOn.wait());
                                      }});
  const auto sut = listenerOf({publisherEntry("p", {observed}, {}), publisherEntry("q", {}, {})});
  auto comparison = std::async(std::launch::async,
                               [&, event = endpointEvent(EndpointEvent::bound, observed)] { sut->handleEvent(event); });
  auto completion =
      std::async(std::launch::async, [&, event = servicesEvent(ServicesEvent::allPublished, ownCount, "q")] {
        const AllocationHook hook([&](int, std::size_t) {
          if (!allocating.isOpen()) {
            allocating.open();
            EXPECT_TRUE(goOn.wait());
          }
        });
        sut->handleEvent(event);
      });
  ASSERT_TRUE(comparing.wait());
  ASSERT_TRUE(allocating.wait());
  auto foreign = std::async(std::launch::async, [&, events = foreignEvents(observed)] {
    for (const auto& event : events) {
      sut->handleEvent(event);
    }
  });
  EXPECT_EQ(foreign.wait_for(patience), std::future_status::ready);
  goOn.open();
  comparison.get();
  completion.get();
  foreign.get();
}

}  // namespace spf::test
