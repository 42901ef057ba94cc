#include "commands/publisherStates.hpp"

#include <algorithm>
#include <exception>
#include <set>

#include "display/phaseNames.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFServicePublisherConfiguration;
using Endpoints = std::vector<cppmicroservices::Any>;

const char* nameOf(EndpointState::Direction direction) {
  return direction == EndpointState::Direction::bind ? "to bind" : "to connect";
}

void addListed(std::vector<OutstandingEndpoint>& outstanding, const char* what, const Endpoints& endpoints) {
  for (const auto& endpoint : endpoints) {
    outstanding.push_back({what, endpointText(endpoint), "", "", 0});
  }
}

// A discovery name with several addresses has a record for each; one of them is enough to be connected.
std::set<std::string> connectedEndpoints(const std::vector<EndpointState>& records, const std::string& id) {
  std::set<std::string> endpoints;
  for (const auto& record : records) {
    if (record.servicePublisherID == id && record.direction == EndpointState::Direction::connect &&
        record.phase == EndpointState::Phase::up) {
      endpoints.insert(record.endpoint);
    }
  }
  return endpoints;
}

// What the framework records is more than the library's lists hold: these only shrink.
std::vector<OutstandingEndpoint> recorded(const std::vector<EndpointState>& records, const std::string& id) {
  const auto connected = connectedEndpoints(records, id);
  std::vector<OutstandingEndpoint> outstanding;
  for (const auto& record : records) {
    const bool isConnected =
        record.direction == EndpointState::Direction::connect && connected.count(record.endpoint) != 0;
    if (record.servicePublisherID == id && record.phase != EndpointState::Phase::up && !isConnected) {
      outstanding.push_back(
          {nameOf(record.direction), record.endpoint, phaseName(record.phase), record.reason, record.tries});
    }
  }
  return outstanding;
}

// The records of one endpoint, which follow one another, are those of its sockets.
std::vector<RefusedHandshakes> refusedHandshakes(const std::vector<EndpointState>& records, const std::string& id) {
  std::vector<RefusedHandshakes> refused;
  for (const auto& record : records) {
    if (record.servicePublisherID != id || record.refusedHandshakes == 0) {
      continue;
    }
    if (refused.empty() || refused.back().endpoint != record.endpoint) {
      refused.push_back({record.endpoint, 0, ""});
    }
    refused.back().count += record.refusedHandshakes;
    refused.back().last = record.lastRefusal;
  }
  return refused;
}

EndpointCount countOf(const Endpoints& configured, const std::vector<OutstandingEndpoint>& outstanding,
                      const char* what) {
  const auto isDown = [&](const cppmicroservices::Any& endpoint) {
    const auto text = endpointText(endpoint);
    return std::any_of(outstanding.begin(), outstanding.end(), [&](const OutstandingEndpoint& candidate) {
      return candidate.what == what && candidate.endpoint == text;
    });
  };
  const auto down = static_cast<std::size_t>(std::count_if(configured.begin(), configured.end(), isDown));
  return {configured.size() - down, configured.size()};
}

PublisherState stateOf(SPFConfiguration& configuration, const SPFServicePublisherConfiguration& publisher,
                       const std::vector<EndpointState>& records) {
  PublisherState state;
  state.id = publisher.uniqueID;
  const auto [toConnect, toBind] = configuration.listOutstandingEndpoints(publisher.uniqueID);
  state.endpointsComplete = toConnect.empty() && toBind.empty();
  const bool isRecorded = std::any_of(records.begin(), records.end(), [&](const EndpointState& record) {
    return record.servicePublisherID == publisher.uniqueID;
  });
  state.refused = refusedHandshakes(records, publisher.uniqueID);
  if (isRecorded) {
    state.outstanding = recorded(records, publisher.uniqueID);
  } else {
    addListed(state.outstanding, "to bind", toBind);
    addListed(state.outstanding, "to connect", toConnect);
  }
  state.bound = countOf(publisher.endpointsToBindTo, state.outstanding, "to bind");
  state.connected = countOf(publisher.endpointsToConnectTo, state.outstanding, "to connect");
  try {
    state.servicesPublished = configuration.waitForAllServices(std::chrono::milliseconds::zero(), publisher.uniqueID);
  } catch (const std::exception& error) {
    state.error = error.what();
  } catch (...) {
    state.error = "unknown error";
  }
  return state;
}

}  // namespace

PublisherStates::PublisherStates(const ConfigurationDescription& description,
                                 std::chrono::steady_clock::time_point published)
    : description_(description) {
  for (const auto& publisher : description.servicePublishers) {
    since_[publisher.uniqueID].time = published;
  }
}

std::vector<PublisherState> PublisherStates::update(SPFConfiguration& configuration,
                                                    const std::vector<EndpointState>& records,
                                                    std::chrono::steady_clock::time_point now) {
  std::vector<PublisherState> states;
  states.reserve(description_.servicePublishers.size());
  for (const auto& publisher : description_.servicePublishers) {
    states.push_back(stateOf(configuration, publisher, records));
    states.back().since = sinceOf(states.back(), now);
  }
  return states;
}

std::chrono::steady_clock::time_point PublisherStates::sinceOf(const PublisherState& state,
                                                               std::chrono::steady_clock::time_point now) {
  auto& since = since_[state.id];
  if (since.ready != state.ready() || since.failed != state.failed()) {
    since = {state.ready(), state.failed(), now};
  }
  return since.time;
}

}  // namespace spfctl
