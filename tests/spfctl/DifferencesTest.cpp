#include "file/differences.hpp"

#include <gmock/gmock.h>

#include "file/readConfiguration.hpp"

namespace spf::test {

using namespace spfctl;
using testing::ElementsAre;
using testing::IsEmpty;

ConfigurationDescription describedBy(const std::string& text) {
  auto checked = checkConfiguration({"f", text});
  EXPECT_EQ(checked.findings.errors(), 0u) << text;
  return std::move(checked.description);
}

// The details of the one entry that differs, each as sign, what, and both values.
std::vector<std::string> details(const std::vector<Difference>& entries) {
  std::vector<std::string> texts;
  EXPECT_EQ(entries.size(), 1u);
  for (const auto& entry : entries) {
    for (const auto& detail : entry.details) {
      const auto* const sign = detail.kind == Difference::Kind::added     ? "+"
                               : detail.kind == Difference::Kind::removed ? "-"
                                                                          : "~";
      texts.push_back(sign + detail.what + "|" + detail.before + "|" + detail.after);
    }
  }
  return texts;
}

std::vector<std::string> betweenEndpoints(const std::string& before, const std::string& after) {
  const auto publisher = [](const std::string& endpoints) {
    return describedBy(R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": [)" + endpoints +
                       "]}]}");
  };
  return details(differencesOf(publisher(before), publisher(after)).servicePublishers);
}

std::vector<std::string> betweenProperties(const std::string& before, const std::string& after) {
  const auto entry = [](const std::string& properties) {
    return describedBy(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties": )" + properties +
                       "}]}");
  };
  return details(differencesOf(entry(before), entry(after)).serviceInterfaces);
}

TEST(Differences, AreNoneBetweenEqualConfigurations) {
  const auto text = R"({"configurationID": "c", "servicePublishers": [{"uniqueID": "p", "name": "n"}]})";
  EXPECT_TRUE(differencesOf(describedBy(text), describedBy(text)).empty());
}

TEST(Differences, TellEndpointsApartByTypeNumberAndOrder) {
  EXPECT_THAT(betweenEndpoints(R"("5")", "5"), ElementsAre("-endpoint to bind to|5|", "+endpoint to bind to||5"));
  EXPECT_THAT(betweenEndpoints(R"("a")", R"("a", "a")"), ElementsAre("+endpoint to bind to||a"));
  EXPECT_THAT(betweenEndpoints(R"("a", "b")", R"("b", "a")"), ElementsAre("~order of the endpoints to bind to||"));
}

TEST(Differences, TellPropertiesApartByPathAndOrder) {
  EXPECT_THAT(betweenProperties(R"({"a": ["x", "y"]})", R"({"a": ["y", "x"]})"),
              ElementsAre("~order of the properties||"));
  EXPECT_THAT(betweenProperties(R"({"a / b": 1})", R"({"a": {"b": 1}})"),
              ElementsAre("-property a / b|1|", "+property a / b||1"));
  EXPECT_THAT(betweenProperties(R"({"a": 1})", R"({"a": 2})"), ElementsAre("-property a|1|", "+property a||2"));
}

TEST(Differences, OfAnAddedOrRemovedEntryHoldItsContent) {
  const auto empty = describedBy("{}");
  const auto full = describedBy(
      R"json({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToConnectTo": ["c"], "importFilter": "(a=1)"}]})json");
  EXPECT_THAT(details(differencesOf(empty, full).servicePublishers),
              ElementsAre("+name||n", "+endpoint to connect to||c", "+import filter||(a=1)"));
  EXPECT_THAT(details(differencesOf(full, empty).servicePublishers),
              ElementsAre("-name|n|", "-endpoint to connect to|c|", "-import filter|(a=1)|"));
}

TEST(Differences, TellMappingsApartWhateverTheirIDsHold) {
  const std::string entries =
      R"("serviceInterfaces": [{"uniqueID": "a", "name": "n"}, {"uniqueID": "a -> b", "name": "n"}],
    "servicePublishers": [{"uniqueID": "c", "name": "n"}, {"uniqueID": "b -> c", "name": "n"}])";
  const auto mapping = [&](const std::string& serviceInterface, const std::string& publisher) {
    return describedBy("{" + entries + R"(, "serviceMappings": [{"serviceInterfaceID": ")" + serviceInterface +
                       R"(", "servicePublisherID": ")" + publisher + "\"}]}");
  };
  EXPECT_EQ(differencesOf(mapping("a", "b -> c"), mapping("a -> b", "c")).serviceMappings.size(), 2u);
  EXPECT_THAT(differencesOf(mapping("a", "c"), mapping("a", "c")).serviceMappings, IsEmpty());
}

}  // namespace spf::test
