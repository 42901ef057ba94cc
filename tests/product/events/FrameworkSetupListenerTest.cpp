#include "tracking/FrameworkSetupListener.hpp"

#include <cstring>
#include <future>
#include <iterator>
#include <vector>

#include "spf/test/Gate.hpp"
#include "support/Locking.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"
#include "tracking/SPFConfigurationUpdateTracker.hpp"

namespace spf::test {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworksetup::FrameworkSetupListener;
using agent::spf::frameworksetup::SPFConfigurationUpdateTracker;
using std::chrono::milliseconds;

class AFrameworkSetupListener : public testing::Test {
 protected:
  static Any publisherEntry(const char* id, const char* name, List bind = {}, List connect = {}) {
    return Any(AnyMap({{"uniqueID", text(id)},
                       {"name", text(name)},
                       {"config", Any(AnyMap({{"endpointsToBindTo", Any(std::move(bind))},
                                              {"endpointsToConnectTo", Any(std::move(connect))}}))}}));
  }
  static AnyMap properties(List publishers, int count = 5) {
    return AnyMap({{"modificationCount", Any(count)}, {"servicePublisherConfigurations", Any(std::move(publishers))}});
  }
  std::unique_ptr<FrameworkSetupListener> listener(const AnyMap& map) {
    return std::make_unique<FrameworkSetupListener>([this] { ++completions; }, map);
  }
  std::unique_ptr<FrameworkSetupListener> listener(List publishers, int count = 5) {
    return listener(properties(std::move(publishers), count));
  }

  static void services(FrameworkSetupListener& sut, std::uint32_t change, const char* id, std::uint32_t count = 5) {
    sut.handleEvent(std::make_shared<ServicesEvent>(ServicesEvent{{0}, change, id, count}));
  }
  static void error(FrameworkSetupListener& sut, const char* id, std::uint32_t count = 5) {
    sut.handleEvent(std::make_shared<ErrorEvent>(ErrorEvent{{1}, makeError<std::runtime_error>("broken"), id, count}));
  }
  static void endpoint(FrameworkSetupListener& sut, std::uint32_t change, const char* value, const char* id,
                       std::uint32_t count = 5) {
    sut.handleEvent(std::make_shared<EndpointEvent>(EndpointEvent{{2}, change, text(value), id, count}));
  }

  int completions = 0;
};

TEST_F(AFrameworkSetupListener, OfAConfigurationWithoutPublishersNeverCallsBack) {
  const auto sut = listener(List());
  services(*sut, 0, "p");
  services(*sut, 1, "p");
  error(*sut, "p");
  endpoint(*sut, 0, "b", "p");
  EXPECT_EQ(completions, 0);
}

TEST_F(AFrameworkSetupListener, IgnoresAnEventThatIsOneCountTooOldAndAcceptsALaterOne) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("b")}, {text("c")})});
  services(*sut, 0, "p", 4);
  endpoint(*sut, 0, "b", "p", 4);
  error(*sut, "p", 4);
  EXPECT_FALSE(sut->waitForAllServices(milliseconds(0), "p"));
  EXPECT_EQ(sut->listOutstandingEndpoints("p").second.size(), 1u);

  services(*sut, 0, "p", 6);
  endpoint(*sut, 0, "b", "p", 5);
  endpoint(*sut, 2, "c", "p", 4000000000u);
  EXPECT_TRUE(sut->waitForAllServices(milliseconds(0), "p"));
  EXPECT_TRUE(sut->waitForAllEndpoints(milliseconds(0), "p"));
  EXPECT_EQ(completions, 1);
}

TEST_F(AFrameworkSetupListener, IsNotCompletedByABindEventForALegacyPublisher) {
  const auto sut = listener({publisherEntry("p", "legacyservicepublisher", {text("b")}, {text("c")})});
  EXPECT_TRUE(sut->waitForAllEndpoints(milliseconds(0), "p"));
  endpoint(*sut, 0, "b", "p");
  endpoint(*sut, 2, "c", "p");
  EXPECT_EQ(completions, 0);
  EXPECT_FALSE(sut->waitForAllServices(milliseconds(0), "p"));
}

TEST_F(AFrameworkSetupListener, CountsAPublisherAsCompletedByAnUnpublishEvent) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("b")})});
  services(*sut, 1, "p");
  EXPECT_EQ(completions, 1);
  EXPECT_TRUE(sut->waitForAllServicesToBeUnpublished(milliseconds(0), "p"));
  EXPECT_FALSE(sut->waitForAllServices(milliseconds(0), "p"));
}

TEST_F(AFrameworkSetupListener, CallsBackAfterTheSecondOfTwoPublishersNotAfterTheFirst) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher"), publisherEntry("q", "rpcservicepublisher")});
  services(*sut, 0, "p");
  services(*sut, 0, "p");
  EXPECT_EQ(completions, 0);
  services(*sut, 0, "q");
  EXPECT_EQ(completions, 1);
}

TEST_F(AFrameworkSetupListener, DoesNotCallBackOnceARemovalIsInProgress) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher")});
  sut->setRemovalInProgress();
  services(*sut, 0, "p");
  services(*sut, 1, "p");
  error(*sut, "p");
  EXPECT_EQ(completions, 0);
  EXPECT_TRUE(sut->waitForAllServices(milliseconds(0), "p"));
}

TEST_F(AFrameworkSetupListener, CallsBackAgainForEveryLaterCompletion) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher")});
  services(*sut, 0, "p");
  services(*sut, 0, "p");
  endpoint(*sut, 0, "anything", "p");
  error(*sut, "p");
  services(*sut, 1, "p");
  EXPECT_EQ(completions, 5);
}

TEST_F(AFrameworkSetupListener, CountsAnErrorAsCompletionWhetherOrNotItIsStored) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("b")})});
  sut->handleEvent(std::make_shared<ErrorEvent>(ErrorEvent{{1}, nullptr, "p", 5}));
  EXPECT_EQ(completions, 1);
  EXPECT_FALSE(sut->waitForAllEndpoints(milliseconds(0), "p"));
  error(*sut, "p");
  EXPECT_EQ(completions, 2);
  EXPECT_EQ(messageOf([&] { sut->waitForAllEndpoints(milliseconds(0), "p"); }), "broken");
}

TEST_F(AFrameworkSetupListener, TakesTheFirstTwoChangesForBoundAndTheNextTwoForConnected) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("0"), text("1"), text("2")},
                                            {text("2"), text("3"), text("0")})});
  for (std::uint32_t change = 0; change < 4; ++change) {
    endpoint(*sut, change, std::to_string(change).c_str(), "p");
  }
  const auto [connect, bind] = sut->listOutstandingEndpoints("p");
  EXPECT_EQ(texts(connect), std::vector<std::string>{"0"});
  EXPECT_EQ(texts(bind), std::vector<std::string>{"2"});
}

TEST_F(AFrameworkSetupListener, IgnoresUnknownKindsChangesAndPublishers) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("b")}, {text("b")})});
  // Nothing but the head may be read of a kind that is not known, so there is nothing else here.
  sut->handleEvent(std::make_shared<FrameworkEvent>(FrameworkEvent{3}));
  sut->handleEvent(std::make_shared<FrameworkEvent>(FrameworkEvent{0xFFFFFFFFu}));
  services(*sut, 2, "p");
  services(*sut, 0xFFFFFFFFu, "p");
  endpoint(*sut, 4, "b", "p");
  services(*sut, 0, "stranger");
  services(*sut, 0, "P");
  error(*sut, "");
  EXPECT_EQ(completions, 0);
  EXPECT_FALSE(sut->waitForAllServices(milliseconds(0), "p"));
  EXPECT_EQ(sut->listOutstandingEndpoints("p").first.size(), 1u);
}

TEST_F(AFrameworkSetupListener, TracksTheEndpointsOfPublishersOfTheExactNameOnly) {
  for (const auto* name : {"", "RpcServicePublisher", "rpcservicepublisher ", "legacyservicepublisher", "other"}) {
    const auto sut = listener({publisherEntry("p", name, {text("b")}, {text("c")})});
    EXPECT_TRUE(sut->listOutstandingEndpoints("p").first.empty()) << name;
    EXPECT_TRUE(sut->listOutstandingEndpoints("p").second.empty()) << name;
    services(*sut, 0, "p");
  }
  EXPECT_EQ(completions, 5);
  const auto rpc = listener({publisherEntry("p", "rpcservicepublisher", {text("b")}, {text("c")})});
  EXPECT_EQ(texts(rpc->listOutstandingEndpoints("p").first), std::vector<std::string>{"c"});
  EXPECT_EQ(texts(rpc->listOutstandingEndpoints("p").second), std::vector<std::string>{"b"});
}

TEST_F(AFrameworkSetupListener, ReadsNoEndpointsOfPublishersThatItDoesNotTrack) {
  const Any bare(AnyMap({{"uniqueID", text("p")}, {"name", text("other")}, {"config", Any(AnyMap())}}));
  EXPECT_NO_THROW(listener({bare}));
}

TEST_F(AFrameworkSetupListener, KeepsTheFirstOfTwoPublishersWithOneID) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher", {text("first")}),
                             publisherEntry("p", "rpcservicepublisher", {text("second")})});
  EXPECT_EQ(texts(sut->listOutstandingEndpoints("p").second), std::vector<std::string>{"first"});
  endpoint(*sut, 0, "first", "p");
  services(*sut, 0, "p");
  EXPECT_EQ(completions, 1);
}

TEST_F(AFrameworkSetupListener, ComparesCountsAsUnsignedNumbers) {
  const std::uint32_t counts[] = {0, 1, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF};
  for (const auto own : counts) {
    for (const auto reported : counts) {
      const auto sut = listener({publisherEntry("p", "rpcservicepublisher")}, static_cast<int>(own));
      services(*sut, 0, "p", reported);
      EXPECT_EQ(sut->waitForAllServices(milliseconds(0), "p"), reported >= own) << own << " " << reported;
    }
  }
}

TEST_F(AFrameworkSetupListener, CannotBeMadeFromPropertiesThatMissAKey) {
  const auto entry = publisherEntry("p", "rpcservicepublisher");
  auto noCount = properties({entry});
  noCount.erase("modificationCount");
  EXPECT_THROW(listener(noCount), std::out_of_range);
  auto noPublishers = properties({entry});
  noPublishers.erase("servicePublisherConfigurations");
  EXPECT_THROW(listener(noPublishers), std::out_of_range);
  for (const auto* key : {"uniqueID", "name", "config"}) {
    auto incomplete = asMap(entry);
    incomplete.erase(key);
    EXPECT_THROW(listener({Any(incomplete)}), std::out_of_range) << key;
  }
  for (const auto* key : {"endpointsToBindTo", "endpointsToConnectTo"}) {
    auto incomplete = asMap(entry);
    auto config = asMap(incomplete.at("config"));
    config.erase(key);
    incomplete["config"] = Any(config);
    EXPECT_THROW(listener({Any(incomplete)}), std::out_of_range) << key;
  }
}

TEST_F(AFrameworkSetupListener, CannotBeMadeFromPropertiesOfAWrongType) {
  using cppmicroservices::BadAnyCastException;
  const auto entry = publisherEntry("p", "rpcservicepublisher");
  auto wrongCount = properties({entry});
  wrongCount["modificationCount"] = Any(5u);
  EXPECT_THROW(listener(wrongCount), BadAnyCastException);
  auto wrongPublishers = properties({entry});
  wrongPublishers["servicePublisherConfigurations"] = text("none");
  EXPECT_THROW(listener(wrongPublishers), BadAnyCastException);
  EXPECT_THROW(listener({text("no map")}), BadAnyCastException);
  for (const auto* key : {"uniqueID", "name", "config"}) {
    auto wrong = asMap(entry);
    wrong[key] = Any(1);
    EXPECT_THROW(listener({Any(wrong)}), BadAnyCastException) << key;
  }
  for (const auto* key : {"endpointsToBindTo", "endpointsToConnectTo"}) {
    auto wrong = asMap(entry);
    auto config = asMap(wrong.at("config"));
    config[key] = text("no list");
    wrong["config"] = Any(config);
    EXPECT_THROW(listener({Any(wrong)}), BadAnyCastException) << key;
  }
}

TEST_F(AFrameworkSetupListener, NeedsAConfigOfPublishersThatItDoesNotTrackToo) {
  auto entry = asMap(publisherEntry("p", "other"));
  entry["config"] = Any(1);
  EXPECT_THROW(listener({Any(entry)}), cppmicroservices::BadAnyCastException);
  entry.erase("config");
  EXPECT_THROW(listener({Any(entry)}), std::out_of_range);
}

// Of two faults the one that is met first decides: a value of a wrong type, or a key that is missing.
TEST_F(AFrameworkSetupListener, ReadsThePropertiesOfAPublisherInTheirOrder) {
  const auto faulty = [](const std::string& wrong, const std::string& missing) {
    auto config = asMap(asMap(publisherEntry("p", "rpcservicepublisher")).at("config"));
    auto entry = asMap(publisherEntry("p", "rpcservicepublisher"));
    for (auto* map : {&config, &entry}) {
      map->erase(missing);
      if (map->count(wrong) != 0) {
        (*map)[wrong] = Any(1);
      }
    }
    if (wrong != "config" && missing != "config") {
      entry["config"] = Any(config);
    }
    return properties({Any(entry)});
  };
  const char* const keys[] = {"config", "name", "endpointsToBindTo", "endpointsToConnectTo", "uniqueID"};
  for (std::size_t later = 1; later < std::size(keys); ++later) {
    const auto* earlier = keys[later - 1];
    EXPECT_THROW(listener(faulty(earlier, keys[later])), cppmicroservices::BadAnyCastException) << earlier;
    EXPECT_THROW(listener(faulty(keys[later], earlier)), std::out_of_range) << earlier;
  }
}

TEST_F(AFrameworkSetupListener, ReadsTheCountBeforeThePublishers) {
  auto map = properties({}, 1);
  map["modificationCount"] = text("one");
  map.erase("servicePublisherConfigurations");
  EXPECT_THROW(listener(map), cppmicroservices::BadAnyCastException);
  map.erase("modificationCount");
  map["servicePublisherConfigurations"] = text("none");
  EXPECT_THROW(listener(map), std::out_of_range);
}

TEST_F(AFrameworkSetupListener, TakesTheCallbackOverWithoutCopyingIt) {
  const auto token = std::make_shared<int>();
  std::function<void()> callback = [token] {};
  const FrameworkSetupListener sut(std::move(callback), properties({}));
  EXPECT_EQ(token.use_count(), 2);
}

TEST_F(AFrameworkSetupListener, CallsBackWithNoLockOfItsOwnHeld) {
  FrameworkSetupListener* listening = nullptr;
  bool prepared = false;
  FrameworkSetupListener sut(
      [&] {
        const auto removal = std::async(std::launch::async, [&] { listening->setRemovalInProgress(); });
        prepared = removal.wait_for(patience) == std::future_status::ready;
      },
      properties({publisherEntry("p", "rpcservicepublisher")}));
  listening = &sut;
  services(sut, 0, "p");
  EXPECT_TRUE(prepared);
}

TEST_F(AFrameworkSetupListener, LetsOutWhatTheCallbackThrows) {
  FrameworkSetupListener sut([] { throw std::logic_error("already unregistered"); },
                             properties({publisherEntry("p", "rpcservicepublisher")}));
  EXPECT_EQ(messageOf([&] { services(sut, 0, "p"); }), "already unregistered");
}

TEST_F(AFrameworkSetupListener, WithoutACallbackThrowsWhenEveryPublisherIsComplete) {
  FrameworkSetupListener sut(nullptr, properties({publisherEntry("p", "rpcservicepublisher")}));
  EXPECT_THROW(services(sut, 0, "p"), std::bad_function_call);
}

TEST_F(AFrameworkSetupListener, DoesNotKnowOtherPublishersAndLocksNothingToSaySo) {
  const auto sut = listener({publisherEntry("p", "rpcservicepublisher")});
  const MutexFailure failure;
  EXPECT_THROW(sut->waitForAllEndpoints(milliseconds(0), "q"), std::out_of_range);
  EXPECT_THROW(sut->waitForAllServices(milliseconds(0), "q"), std::out_of_range);
  EXPECT_THROW(sut->waitForAllServicesToBeUnpublished(milliseconds(0), "q"), std::out_of_range);
  EXPECT_THROW(sut->listOutstandingEndpoints("q"), std::out_of_range);
}

TEST_F(AFrameworkSetupListener, IsNotRegisteredWhenItCannotBeMade) {
  TestFramework framework;
  EXPECT_THROW(SPFConfigurationUpdateTracker::create(AnyMap({{"modificationCount", Any(1)}})), std::out_of_range);
  EXPECT_THROW(SPFConfigurationUpdateTracker::create(properties({text("no map")})),
               cppmicroservices::BadAnyCastException);
  EXPECT_EQ(framework.listeners(), 0u);
}

TEST_F(AFrameworkSetupListener, IsRegisteredByManyRemovalsAtOnceAndGoneWithTheLast) {
  TestFramework framework;
  const auto sut = SPFConfigurationUpdateTracker::create(properties({publisherEntry("p", "rpcservicepublisher")}));
  Gate start;
  std::vector<std::future<void>> removals;
  for (int i = 0; i < 4; ++i) {
    removals.push_back(std::async(std::launch::async, [&] {
      ASSERT_TRUE(start.wait());
      for (int round = 0; round < 200; ++round) {
        sut->prepareForRemoval();
        EXPECT_FALSE(sut->waitForAllServicesToBeUnpublished(milliseconds(0), "p"));
      }
    }));
  }
  start.open();
  for (auto& removal : removals) {
    EXPECT_NO_THROW(removal.get());
  }
  EXPECT_EQ(framework.listeners(), 0u);
}

TEST(TheBaseOfAllListeners, DoesNothingWithAnEvent) {
  agent::spf::frameworklistener::FrameworkListener sut;
  const auto event = std::make_shared<FrameworkEvent>(FrameworkEvent{0});
  sut.handleEvent(event);
  EXPECT_EQ(event.use_count(), 1);
}

// The framework was built separately: the slots of the virtual functions are part of what it calls.
TEST(TheBaseOfAllListeners, HandlesEventsInItsFirstSlot) {
  const auto handleEvent = &agent::spf::frameworklistener::FrameworkListener::handleEvent;
  std::ptrdiff_t word = 0;
  std::memcpy(&word, &handleEvent, sizeof word);
  // It holds the offset of the slot, with the lowest bit as a mark on some platforms.
  EXPECT_EQ(word / static_cast<std::ptrdiff_t>(sizeof(void*)), 0);
}

}  // namespace spf::test
