#include "control/statusJson.hpp"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "display/phaseNames.hpp"
#include "display/utcTime.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using nlohmann::ordered_json;

ordered_json endpointJson(const EndpointState& endpoint, const HostStatus& status) {
  const auto age = std::chrono::duration_cast<std::chrono::system_clock::duration>(status.taken - endpoint.since);
  return {{"direction", endpoint.direction == EndpointState::Direction::bind ? "bind" : "connect"},
          {"endpoint", endpoint.endpoint},
          {"phase", phaseName(endpoint.phase)},
          {"address", endpoint.address},
          {"tries", endpoint.tries},
          {"reason", endpoint.reason},
          {"refusedHandshakes", endpoint.refusedHandshakes},
          {"lastRefusal", endpoint.lastRefusal},
          {"since", utcTime(std::chrono::system_clock::now() - age)}};
}

// A framework that offers no records leaves the library's lists: what is not up yet.
ordered_json endpointJson(const OutstandingEndpoint& endpoint) {
  return {{"direction", endpoint.what == "to bind" ? "bind" : "connect"},
          {"endpoint", endpoint.endpoint},
          {"phase", "opening"},
          {"reason", endpoint.reason}};
}

ordered_json endpointsJson(const PublisherState& publisher, const HostStatus& status) {
  auto list = ordered_json::array();
  for (const auto& endpoint : status.endpoints) {
    if (endpoint.servicePublisherID == publisher.id) {
      list.push_back(endpointJson(endpoint, status));
    }
  }
  if (list.empty()) {
    for (const auto& endpoint : publisher.outstanding) {
      list.push_back(endpointJson(endpoint));
    }
  }
  return list;
}

const char* stateOf(const PublisherState& publisher) {
  if (publisher.failed()) {
    return "failed";
  }
  if (!publisher.ready()) {
    return "waiting";
  }
  return publisher.outstanding.empty() ? "ready" : "degraded";
}

ordered_json publisherJson(const PublisherState& publisher, const HostStatus& status) {
  return {{"id", publisher.id},
          {"state", stateOf(publisher)},
          {"servicesPublished", publisher.servicesPublished},
          {"error", publisher.error},
          {"endpoints", endpointsJson(publisher, status)}};
}

}  // namespace

const char* nameOf(HostStatus::State state) {
  switch (state) {
    case HostStatus::State::ready:
      return "ready";
    case HostStatus::State::failed:
      return "failed";
    case HostStatus::State::lost:
      return "lost";
    case HostStatus::State::withdrawing:
      return "withdrawing";
    default:
      return "waiting";
  }
}

void addStatus(ordered_json& answer, const HostStatus& status) {
  auto publishers = ordered_json::array();
  for (const auto& publisher : status.publishers) {
    publishers.push_back(publisherJson(publisher, status));
  }
  auto bundles = ordered_json::array();
  for (const auto& bundle : status.bundles) {
    bundles.push_back({{"symbolicName", bundle.symbolicName},
                       {"version", bundle.version},
                       {"state", bundle.state},
                       {"file", bundle.file}});
  }
  answer["configuration"] = {{"id", status.configurationID},
                             {"revision", status.revision},
                             {"state", nameOf(status.state)},
                             {"since", utcTime(status.since)},
                             {"file", status.source ? status.source->file : std::string()},
                             {"lastError", status.lastError}};
  answer["publishers"] = std::move(publishers);
  answer["bundles"] = std::move(bundles);
}

}  // namespace spfctl
