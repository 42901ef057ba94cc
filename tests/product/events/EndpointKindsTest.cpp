#include <chrono>
#include <limits>
#include <map>
#include <memory>
#include <set>

#include "support/ConfigurationAdminDouble.hpp"
#include "support/canonicalText.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::test {

using agent::spf::frameworksetup::ConfigTracker;
using std::chrono::milliseconds;

AnyMap mapOf(AnyMap::map_type type, const char* key, Any value) {
  AnyMap map(type);
  map[key] = std::move(value);
  return map;
}

struct EndpointKind {
  const char* name;
  Any value;
  // Whether a report of it takes it off the list. No other kind's report does.
  bool found;
};

const EndpointKind endpointKinds[] = {
    {"flag", Any(true), true},
    {"letter", Any('b'), true},
    {"int", Any(1), true},
    {"unsigned int", Any(1u), true},
    {"long", Any(1L), true},
    {"long long", Any(1LL), true},
    {"float", Any(1.0f), true},
    {"double", Any(1.0), true},
    {"no number", Any(std::numeric_limits<double>::quiet_NaN()), false},
    {"text", text("1"), true},
    {"empty text", text(""), true},
    {"shared pointer", Any(std::make_shared<int>(1)), true},
    {"list of numbers", Any(std::vector<int>{1}), true},
    {"list of texts", Any(std::vector<std::string>{"1"}), true},
    {"set", Any(std::set<std::string>{"1"}), true},
    {"map of texts", Any(std::map<std::string, std::string>{{"1", "1"}}), true},
    {"empty list", Any(List{}), true},
    {"list", Any(List{Any(1), text("1")}), true},
    {"nested list", Any(List{Any(List{Any(List{})})}), true},
    {"empty map", Any(AnyMap(AnyMap::ORDERED_MAP)), true},
    {"ordered map", Any(mapOf(AnyMap::ORDERED_MAP, "key", Any(1))), true},
    {"unordered map", Any(mapOf(AnyMap::UNORDERED_MAP, "key", Any(1))), true},
    {"map that ignores case", Any(mapOf(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, "key", Any(1))), true},
    {"map of other case", Any(mapOf(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, "KEY", Any(1))), true},
    {"own type", Any(ObservedEndpoint{"1"}), true},
    {"own type without comparison", Any(IncomparableEndpoint()), false},
    {"list of those", Any(List{Any(IncomparableEndpoint())}), false},
    {"empty", Any(), false},
    {"list with an empty value", Any(List{text("1"), Any()}), false},
    {"list with an empty value first", Any(List{Any(), text("1")}), false},
    {"ordered map with an empty value", Any(mapOf(AnyMap::ORDERED_MAP, "key", Any())), false},
    {"unordered map with an empty value", Any(mapOf(AnyMap::UNORDERED_MAP, "key", Any())), false},
    {"map that ignores case with one", Any(mapOf(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, "key", Any())), false},
    {"empty value deep in lists and maps",
     Any(List{Any(1), Any(mapOf(AnyMap::UNORDERED_MAP, "key", Any(List{Any(mapOf(AnyMap::ORDERED_MAP, "", Any()))})))}),
     false}};

List allKinds() {
  List list;
  for (const auto& kind : endpointKinds) {
    list.push_back(kind.value);
  }
  return list;
}

std::vector<std::string> typesOf(const List& list) {
  std::vector<std::string> types;
  for (const auto& endpoint : list) {
    types.emplace_back(endpoint.Type().name());
  }
  return types;
}

class EndpointsOfEveryKind : public testing::Test {
 protected:
  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(EndpointsOfEveryKind, AreTakenOffTheListByTheirOwnReportOnly) {
  for (const auto& outstanding : endpointKinds) {
    for (const auto& reported : endpointKinds) {
      ConfigTracker sut(List{outstanding.value}, List{outstanding.value}, true);
      const bool found = &outstanding == &reported && outstanding.found;
      EXPECT_FALSE(sut.completeEndpointBind(reported.value));
      EXPECT_EQ(sut.listOutstandingEndpoints().second.empty(), found) << outstanding.name << ", " << reported.name;
      EXPECT_FALSE(sut.completeEndpointConnect(reported.value));
      EXPECT_EQ(sut.waitForAllEndpoints(milliseconds(0)), found) << outstanding.name << ", " << reported.name;
    }
  }
}

TEST_F(EndpointsOfEveryKind, LeaveThoseOutstandingThatAreEqualToNothing) {
  ConfigTracker sut(allKinds(), {}, true);
  List unfound;
  for (const auto& kind : endpointKinds) {
    sut.completeEndpointBind(kind.value);
    if (!kind.found) {
      unfound.push_back(kind.value);
    }
  }
  EXPECT_EQ(canonicalTexts(sut.listOutstandingEndpoints().second), canonicalTexts(unfound));
}

TEST_F(EndpointsOfEveryKind, AreHandedOnUntouchedInTheirOrder) {
  auto sut = SPFConfigurationBuilder("kinds").addServicePublisher(publisher("p", allKinds(), allKinds())).build();
  const auto properties = admin_->properties("zk.spf.framework~kinds");
  const auto& config = asMap(entryIn(*properties, "servicePublisherConfigurations", "p").at("config"));
  const auto record = sut.getServicePublisherConfigurations().at(0);
  const auto outstanding = sut.listOutstandingEndpoints("p");
  for (const auto& list :
       {asList(config.at("endpointsToConnectTo")), asList(config.at("endpointsToBindTo")), record.endpointsToConnectTo,
        record.endpointsToBindTo, outstanding.first, outstanding.second}) {
    EXPECT_EQ(typesOf(list), typesOf(allKinds()));
    EXPECT_EQ(canonicalTexts(list), canonicalTexts(allKinds()));
  }
}

TEST_F(EndpointsOfEveryKind, MayBeReportedForAPublisherThatHasNone) {
  auto sut = SPFConfigurationBuilder("none").addServicePublisher(publisher("p", {text("another")})).build();
  for (const auto& kind : endpointKinds) {
    framework_.sendBound("p", 1, kind.value);
    framework_.sendConnected("p", 1, kind.value);
  }
  EXPECT_EQ(texts(sut.listOutstandingEndpoints("p").first), std::vector<std::string>{"another"});
}

}  // namespace spf::test
