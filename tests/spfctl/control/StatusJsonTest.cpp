#include "control/statusJson.hpp"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "display/utcTime.hpp"

namespace spf::test {

using agent::spf::frameworkinterfaces::EndpointState;
using nlohmann::ordered_json;
using namespace spfctl;

namespace {

PublisherState publisher(const std::string& id) {
  PublisherState state;
  state.id = id;
  return state;
}

PublisherState readyPublisher(const std::string& id) {
  auto state = publisher(id);
  state.endpointsComplete = true;
  state.servicesPublished = true;
  return state;
}

ordered_json jsonOf(const HostStatus& status) {
  ordered_json answer;
  addStatus(answer, status);
  return answer;
}

}  // namespace

TEST(TheStatusAsJson, HasTheConfiguration) {
  HostStatus status;
  status.state = HostStatus::State::ready;
  status.configurationID = "c";
  status.revision = 3;
  status.since = std::chrono::system_clock::time_point(std::chrono::milliseconds(1));
  status.source = std::make_shared<ConfigurationSource>(ConfigurationSource{"/f.json", "", {}});
  status.lastError = "e";
  EXPECT_EQ(
      jsonOf(status)["configuration"].dump(),
      R"({"id":"c","revision":3,"state":"ready","since":"1970-01-01T00:00:00.001Z","file":"/f.json","lastError":"e"})");
}

TEST(TheStatusAsJson, IsThatOfAHostWithoutAConfigurationAtFirst) {
  const auto answer = jsonOf({});
  EXPECT_EQ(answer["configuration"]["file"], "");
  EXPECT_EQ(answer["configuration"]["state"], "waiting");
  EXPECT_EQ(answer["publishers"].dump(), "[]");
  EXPECT_EQ(answer["bundles"].dump(), "[]");
}

TEST(TheStatusAsJson, NamesEachState) {
  using State = HostStatus::State;
  EXPECT_STREQ(nameOf(State::waiting), "waiting");
  EXPECT_STREQ(nameOf(State::ready), "ready");
  EXPECT_STREQ(nameOf(State::failed), "failed");
  EXPECT_STREQ(nameOf(State::lost), "lost");
  EXPECT_STREQ(nameOf(State::withdrawing), "withdrawing");
}

TEST(TheStatusAsJson, NamesTheStateOfEachPublisher) {
  HostStatus status;
  auto failed = readyPublisher("failed");
  failed.error = "refused";
  auto degraded = readyPublisher("degraded");
  degraded.outstanding.push_back({"to connect", "tcp://a:1", "lost", "", 1});
  auto bound = publisher("waiting");
  bound.endpointsComplete = true;
  status.publishers = {readyPublisher("ready"), bound, degraded, failed};
  const auto answer = jsonOf(status)["publishers"];
  for (const auto& entry : answer) {
    EXPECT_EQ(entry["state"], entry["id"]);
  }
  EXPECT_EQ(answer[0]["servicesPublished"], true);
  EXPECT_EQ(answer[1]["servicesPublished"], false);
  EXPECT_EQ(answer[3]["error"], "refused");
}

TEST(TheStatusAsJson, HasTheFrameworksRecordsOfThePublishersEndpoints) {
  HostStatus status;
  status.publishers = {publisher("p"), publisher("q")};
  status.taken = std::chrono::steady_clock::now();
  EndpointState record;
  record.servicePublisherID = "p";
  record.direction = EndpointState::Direction::connect;
  record.endpoint = "tcp://localhost:1";
  record.address = "tcp://127.0.0.1:1";
  record.phase = EndpointState::Phase::opening;
  record.tries = 4;
  record.reason = "Connection refused";
  record.since = status.taken - std::chrono::hours(24);
  status.endpoints = {record};
  const auto earliest = utcTime(std::chrono::system_clock::now() - std::chrono::hours(24));
  const auto answer = jsonOf(status)["publishers"];
  const auto latest = utcTime(std::chrono::system_clock::now() - std::chrono::hours(24));
  ASSERT_EQ(answer[0]["endpoints"].size(), 1u);
  auto endpoint = answer[0]["endpoints"][0];
  EXPECT_GE(endpoint["since"].get<std::string>(), earliest);
  EXPECT_LE(endpoint["since"].get<std::string>(), latest);
  endpoint.erase("since");
  EXPECT_EQ(endpoint.dump(),
            R"({"direction":"connect","endpoint":"tcp://localhost:1","phase":"opening","address":"tcp://127.0.0.1:1",)"
            R"("tries":4,"reason":"Connection refused","refusedHandshakes":0,"lastRefusal":""})");
  EXPECT_EQ(answer[1]["endpoints"].dump(), "[]");
}

TEST(TheStatusAsJson, HasThePeersThatABoundEndpointHasRefused) {
  HostStatus status;
  status.publishers = {readyPublisher("p")};
  EndpointState record{};
  record.servicePublisherID = "p";
  record.direction = EndpointState::Direction::bind;
  record.endpoint = "tcp://a:1";
  record.phase = EndpointState::Phase::up;
  record.refusedHandshakes = 3;
  record.lastRefusal = "key unknown";
  status.endpoints = {record};
  const auto publishers = jsonOf(status)["publishers"];
  const auto endpoint = publishers[0]["endpoints"][0];
  EXPECT_EQ(endpoint["refusedHandshakes"], 3);
  EXPECT_EQ(endpoint["lastRefusal"], "key unknown");
  EXPECT_EQ(endpoint["phase"], "up");
  EXPECT_EQ(publishers[0]["state"], "ready");
}

TEST(TheStatusAsJson, HasWhatIsOutstandingWhereTheFrameworkHasNoRecords) {
  HostStatus status;
  auto waiting = publisher("p");
  waiting.outstanding = {{"to bind", "tcp://a:1", "", "", 0}, {"to connect", "tcp://b:2", "", "why", 0}};
  status.publishers = {waiting};
  EXPECT_EQ(jsonOf(status)["publishers"][0]["endpoints"].dump(),
            R"([{"direction":"bind","endpoint":"tcp://a:1","phase":"opening","reason":""},)"
            R"({"direction":"connect","endpoint":"tcp://b:2","phase":"opening","reason":"why"}])");
}

TEST(TheStatusAsJson, HasTheBundles) {
  HostStatus status;
  status.bundles = {{"b", "1.2.3", "active", "/b.so"}};
  EXPECT_EQ(jsonOf(status)["bundles"].dump(),
            R"([{"symbolicName":"b","version":"1.2.3","state":"active","file":"/b.so"}])");
}

TEST(TheStatusAsJson, KeepsErrorsOfAnyBytes) {
  HostStatus status;
  auto failed = publisher("p");
  failed.error = "a\x1b\n\xff";
  status.publishers = {failed};
  status.lastError = failed.error;
  const auto answer = jsonOf(status);
  EXPECT_EQ(answer["configuration"]["lastError"], failed.error);
  EXPECT_EQ(answer["publishers"][0]["error"].dump(-1, ' ', false, ordered_json::error_handler_t::replace),
            "\"a\\u001b\\n\xef\xbf\xbd\"");
}

}  // namespace spf::test
