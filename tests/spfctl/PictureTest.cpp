#include <gmock/gmock.h>

#include <regex>

#include "display/configurationGraph.hpp"
#include "file/readConfiguration.hpp"

namespace spf::test {

using namespace spfctl;
using testing::HasSubstr;
using testing::Not;

ConfigurationDescription configurationWith(int publishers, int endpointsOfEach) {
  std::string list;
  for (int index = 0; index < publishers; ++index) {
    std::string endpoints;
    for (int endpoint = 0; endpoint < endpointsOfEach; ++endpoint) {
      endpoints += (endpoints.empty() ? "\"inproc://" : ", \"inproc://") + std::to_string(endpoint) + '"';
    }
    list += (list.empty() ? "" : ", ") + std::string(R"({"uniqueID": "p)") + std::to_string(index) +
            R"(", "name": "rpcservicepublisher", "endpointsToBindTo": [)" + endpoints + "]}";
  }
  return checkConfiguration({"f", R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n"}], "servicePublishers": [)" +
                                      list + R"(], "serviceMappings": [{"serviceInterfaceID": "i",
                                      "servicePublisherID": "p0"}]})"})
      .description;
}

std::size_t count(const std::string& text, const std::string& pattern) {
  const std::regex regex(pattern);
  return static_cast<std::size_t>(std::distance(std::sregex_iterator(text.begin(), text.end(), regex), {}));
}

TEST(APicture, HasANodeForEveryThingAndAnEdgeForEveryConnection) {
  const auto svg = drawnAsSvg(configurationGraph(configurationWith(2, 3)));
  EXPECT_EQ(count(svg, "<g id=\"node[0-9]+\" class=\"node\">"), 1u + 2u + 6u);
  EXPECT_EQ(count(svg, "<g id=\"edge[0-9]+\" class=\"edge\">"), 1u + 6u);
  EXPECT_THAT(svg, HasSubstr(">inproc://2</text>"));
  EXPECT_THAT(svg, HasSubstr("</svg>"));
}

TEST(APicture, CountsEndpointsBeyondThreeHundredEdges) {
  const auto atTheLimit = configurationGraph(configurationWith(1, 299));
  EXPECT_THAT(atTheLimit, HasSubstr("inproc://298"));
  const auto beyond = configurationGraph(configurationWith(1, 300));
  EXPECT_THAT(beyond, HasSubstr("\"300 endpoints\""));
  EXPECT_THAT(beyond, Not(HasSubstr("inproc://")));
}

TEST(APicture, DrawsTextsAsTheyAre) {
  const auto description = checkConfiguration({"f", R"json({"servicePublishers": [{"uniqueID": "a\"b\\N<i>&",
      "name": "wärme \u001b[31m"}]})json"})
                               .description;
  const auto svg = drawnAsSvg(configurationGraph(description));
  EXPECT_THAT(svg, HasSubstr("a&quot;b\\N&lt;i&gt;&amp;"));
  EXPECT_THAT(svg, HasSubstr("w\u00e4rme \\x1b[31m"));
}

TEST(APicture, DecodesNothing) {
  const auto description =
      checkConfiguration({"f", R"({"servicePublishers": [{"uniqueID": "&#27;[31m a&lt;b", "name": "n"}]})"})
          .description;
  EXPECT_THAT(drawnAsSvg(configurationGraph(description)), HasSubstr("&amp;#27;[31m a&amp;lt;b"));
}

TEST(APicture, OfNothingIsEmpty) {
  const auto svg = drawnAsSvg(configurationGraph({}));
  EXPECT_EQ(count(svg, "class=\"node\""), 0u);
  EXPECT_THAT(svg, HasSubstr("</svg>"));
}

TEST(APicture, ThatCannotBeReadIsAnError) {
  EXPECT_THROW(drawnAsSvg("digraph {"), std::runtime_error);
}

}  // namespace spf::test
