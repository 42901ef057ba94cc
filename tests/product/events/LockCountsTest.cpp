#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "model/endpointList.hpp"
#include "model/validateServiceMappings.hpp"
#include "publish/SPFConfigurationImpl.hpp"
#include "publish/encodeConfiguration.hpp"
#include "publish/ptreeToAnyMap.hpp"
#include "setup/diagnosticLog.hpp"
#include "setup/getConfigurationAdmin.hpp"
#include "setup/installFrameworkBundles.hpp"
#include "support/Locking.hpp"
#include "support/configurations.hpp"
#include "tracking/ConfigTracker.hpp"
#include "tracking/EndpointEquality.hpp"
#include "tracking/FrameworkSetupListener.hpp"
#include "tracking/SPFConfigurationUpdateTracker.hpp"
#include "tracking/deadlineAfter.hpp"
#include "tracking/removeFromConfigurationAdmin.hpp"

namespace spf::test {

using namespace agent::spf::frameworksetup;
using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::ServicesEvent;
using std::chrono::milliseconds;

// How often an operation locks a mutex of the library, or of the host's double, which locks its own once in
// each of its functions.
class TheLocksTakenBy : public testing::Test {
 protected:
  template <class Operation>
  static int locksOf(Operation operation) {
    int locks = 0;
    const LockingHook hook([&] { ++locks; });
    static_cast<void>(operation());
    return locks;
  }
  static AnyMap properties() {
    ServicePublishers publishers;
    publishers.insert(publisher("p", {text("c")}, {text("b")}));
    return encodeConfiguration(1, {}, publishers, {});
  }
  static void services(FrameworkSetupListener& sut, std::uint32_t change, const char* id, std::uint32_t count) {
    sut.handleEvent(std::make_shared<ServicesEvent>(ServicesEvent{{0}, change, id, count}));
  }
  static void endpoint(FrameworkSetupListener& sut, std::uint32_t change, const char* value) {
    sut.handleEvent(std::make_shared<EndpointEvent>(EndpointEvent{{2}, change, text(value), "p", 1}));
  }

  static constexpr int ofOneHostCall = 1;
};

TEST_F(TheLocksTakenBy, WhatKeepsNoStateAreNone) {
  HostDouble hostWithoutFramework;
  ServiceInterfaces interfaces;
  boost::property_tree::ptree tree;
  tree.put("a.b", "c");
  EXPECT_EQ(locksOf([&] {
              endpointList({"a", "b"});
              interfaces.insert({serviceInterface("i"), true});
              validateServiceMappings(interfaces, {}, {});
              ptreeToAnyMap(tree);
              addRequiredRuntimeServiceProperties(tree, "a", "b");
              encodeConfiguration(1, interfaces, {}, {});
              deadlineAfter(std::chrono::steady_clock::now(), milliseconds(1));
              EndpointEquality(text("a"))(text("b"));
              removeFromConfigurationAdmin("");
              removeFromConfigurationAdminQuietly("");
            }),
            0);
}

TEST_F(TheLocksTakenBy, LoggingWithItsLevelOffAreNone) {
  EXPECT_EQ(locksOf([] {
              logProgress("x");
              logProgress("x", std::string("y"));
              logProgress("x", Any(1));
              logSwallowedException("x");
            }),
            0);
}

TEST_F(TheLocksTakenBy, AskingTheHostAreTheHostsOwn) {
  HostDouble hostWithoutFramework;
  EXPECT_EQ(locksOf([] { getConfigurationAdmin(); }), ofOneHostCall);
  EXPECT_EQ(locksOf([] { removeFromConfigurationAdmin("x"); }), ofOneHostCall);
  EXPECT_EQ(locksOf([] { removeFromConfigurationAdminQuietly("x"); }), ofOneHostCall);
  EXPECT_EQ(locksOf([] { installFrameworkBundles(); }), 7 * ofOneHostCall);
}

TEST_F(TheLocksTakenBy, APublishersStateAreOneEachTime) {
  ConfigTracker sut{{text("b")}, {text("c")}, true};
  EXPECT_EQ(locksOf([&] { sut.listOutstandingEndpoints(); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllEndpoints(noWait); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllServices(noWait); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllServicesToBeUnpublished(noWait); }), 1);
  EXPECT_EQ(locksOf([&] { sut.completeEndpointBind(text("b")); }), 1);
  EXPECT_EQ(locksOf([&] { sut.completeEndpointConnect(text("c")); }), 1);
  EXPECT_EQ(locksOf([&] { sut.completeAllServicesPublished(); }), 1);
  EXPECT_EQ(locksOf([&] { sut.completeAllServicesUnpublished(); }), 1);
  EXPECT_EQ(locksOf([&] { sut.setError(makeError<std::runtime_error>("late")); }), 1);
  EXPECT_EQ(locksOf([&] { ConfigTracker({text("b")}, {}, true); }), 0);
}

TEST_F(TheLocksTakenBy, AnEventAreThePublishersAndOnCompletionTheListenersOwn) {
  FrameworkSetupListener sut([] {}, properties());
  EXPECT_EQ(locksOf([&] { services(sut, 0, "p", 0); }), 0) << "an event that is too old";
  EXPECT_EQ(locksOf([&] { services(sut, 0, "q", 1); }), 0) << "another publisher's event";
  EXPECT_EQ(locksOf([&] { endpoint(sut, 0, "b"); }), 1);
  EXPECT_EQ(locksOf([&] { endpoint(sut, 2, "c"); }), 1);
  EXPECT_EQ(locksOf([&] { services(sut, 0, "p", 1); }), 2);
  EXPECT_EQ(locksOf([&] { services(sut, 1, "p", 1); }), 2);
  EXPECT_EQ(
      locksOf([&] {
        sut.handleEvent(std::make_shared<ErrorEvent>(ErrorEvent{{1}, makeError<std::runtime_error>("late"), "p", 1}));
      }),
      2);
  EXPECT_EQ(locksOf([&] { sut.setRemovalInProgress(); }), 1);
  EXPECT_EQ(locksOf([&] { sut.listOutstandingEndpoints("p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllEndpoints(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllServices(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut.waitForAllServicesToBeUnpublished(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([] { FrameworkSetupListener([] {}, properties()); }), 0);
}

TEST_F(TheLocksTakenBy, RegisteringAndUnregisteringAreThatOfTheRegistration) {
  TestFramework framework;
  std::shared_ptr<SPFConfigurationUpdateTracker> sut;
  EXPECT_EQ(locksOf([&] { sut = SPFConfigurationUpdateTracker::create(properties()); }), 1 + ofOneHostCall);
  EXPECT_EQ(locksOf([&] { sut->unregisterListener(); }), 1);
  EXPECT_EQ(locksOf([&] { sut->prepareForRemoval(); }), 2 + ofOneHostCall);
  EXPECT_EQ(locksOf([&] { sut->prepareForRemoval(); }), 2) << "when the listener is registered";
  EXPECT_EQ(locksOf([&] { sut->listOutstandingEndpoints("p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut->waitForAllEndpoints(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut->waitForAllServices(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { sut->waitForAllServicesToBeUnpublished(noWait, "p"); }), 2);
  EXPECT_EQ(locksOf([&] { sut.reset(); }), 1);
}

TEST_F(TheLocksTakenBy, AHandleAreThoseOfItsTracking) {
  TestFramework framework;
  framework.startConfigurationAdmin();
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p", {text("c")})).build();
  EXPECT_EQ(locksOf([&] { return sut.listOutstandingEndpoints("p"); }), 1);
  EXPECT_EQ(locksOf([&] { return sut.waitForAllEndpoints(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { return sut.waitForAllServices(noWait, "p"); }), 1);
  EXPECT_EQ(locksOf([&] { return sut.waitForAllServicesToBeUnpublished(noWait, "p"); }), 2 + ofOneHostCall + 2);
  EXPECT_EQ(locksOf([&] { sut.reset(); }), 1) << "the listener that is gone already";
}

TEST_F(TheLocksTakenBy, BuildingAndWithdrawingAreThoseOfTheHostAndOfTheTracking) {
  TestFramework framework;
  framework.startConfigurationAdmin();
  SPFConfiguration sut;
  EXPECT_EQ(locksOf([&] { sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build(); }),
            7 * ofOneHostCall + ofOneHostCall + ofOneHostCall + 1);
  EXPECT_EQ(locksOf([&] { sut.reset(); }), ofOneHostCall + 1);
}

}  // namespace spf::test
