#include "commands/ReplayReport.hpp"

#include <ostream>
#include <utility>

#include <nlohmann/json.hpp>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "display/publisherLines.hpp"
#include "display/terminalText.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ServicesEvent;
using nlohmann::ordered_json;

constexpr int formatVersion = 1;

const char* nameOf(NoEffect reason) {
  switch (reason) {
    case NoEffect::early:
      return "early";
    case NoEffect::unknownKind:
      return "unknownKind";
    case NoEffect::unknownChange:
      return "unknownChange";
    case NoEffect::stale:
      return "stale";
    case NoEffect::foreign:
      return "foreign";
    case NoEffect::tooLate:
      return "tooLate";
    case NoEffect::publisherComplete:
      return "publisherComplete";
    case NoEffect::untrackedEndpoint:
      return "untrackedEndpoint";
    case NoEffect::unknownEndpoint:
      return "unknownEndpoint";
    case NoEffect::incomparableEndpoint:
      return "incomparableEndpoint";
    default:
      return "repeated";
  }
}

std::string explanationOf(const ReplayReport::IgnoredEvent& event) {
  switch (event.reason) {
    case NoEffect::early:
      return "no configuration was published before";
    case NoEffect::unknownKind:
      return "unknown kind";
    case NoEffect::unknownChange:
      return "unknown change";
    case NoEffect::stale:
      return "stale: the configuration was at revision " + std::to_string(event.revision);
    case NoEffect::foreign:
      return "foreign: the configuration has no such publisher";
    case NoEffect::tooLate:
      return "too late: every publisher was ready, had failed or was unpublished";
    case NoEffect::publisherComplete:
      return "too late: the publisher was ready or had failed";
    case NoEffect::untrackedEndpoint:
      return "the endpoints of this publisher are not waited for";
    case NoEffect::unknownEndpoint:
      return "the publisher has no such endpoint";
    case NoEffect::incomparableEndpoint:
      return "an endpoint with an empty value never counts as up";
    default:
      return "reported before";
  }
}

// Describes events in a few words, without their publisher.
struct Description {
  std::string operator()(const RecordedServices& event) const {
    switch (event.change) {
      case ServicesEvent::allPublished:
        return "services published";
      case ServicesEvent::allUnpublished:
        return "services unpublished";
      default:
        return "change " + std::to_string(event.change) + " of services";
    }
  }
  std::string operator()(const RecordedEndpoint& event) const {
    const auto endpoint = endpointText(event.endpoint);
    switch (event.change) {
      case EndpointEvent::bound:
        return "bound " + endpoint;
      case EndpointEvent::stillBound:
        return "still bound " + endpoint;
      case EndpointEvent::connected:
        return "connected " + endpoint;
      case EndpointEvent::stillConnected:
        return "still connected " + endpoint;
      default:
        return "change " + std::to_string(event.change) + " of " + endpoint;
    }
  }
  std::string operator()(const RecordedError& event) const { return "error: " + event.error; }
  std::string operator()(const RecordedOther& event) const { return "kind " + std::to_string(event.number); }
  std::string operator()(const RecordedConfiguration&) const { return {}; }
  std::string operator()(const RecordedDrop&) const { return {}; }
};

const char* kindOf(const RecordedEvent& event) {
  if (std::holds_alternative<RecordedServices>(event)) {
    return "services";
  }
  if (std::holds_alternative<RecordedEndpoint>(event)) {
    return "endpoint";
  }
  return std::holds_alternative<RecordedError>(event) ? "error" : "other";
}

// Calls a function with the publisher and the revision that an event is about, if it has them.
template <class Function>
void withPublisher(const RecordedEvent& event, const Function& function) {
  std::visit(
      [&](const auto& alternative) {
        using Event = std::decay_t<decltype(alternative)>;
        if constexpr (std::is_same_v<Event, RecordedServices> || std::is_same_v<Event, RecordedEndpoint> ||
                      std::is_same_v<Event, RecordedError>) {
          function(alternative.publisher, alternative.revision);
        }
      },
      event);
}

std::string textOf(const ReplayReport::IgnoredEvent& ignored) {
  const auto& line = *ignored.line;
  auto text = "line " + std::to_string(line.number) + ": ";
  withPublisher(line.event, [&](const std::string& publisher, std::uint32_t revision) {
    text += publisher + ", revision " + std::to_string(revision) + ": ";
  });
  return text + std::visit(Description(), line.event) + " (" + explanationOf(ignored) + ")";
}

std::string counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::vector<std::string> outstandingOf(const PublisherState& state, const char* what) {
  std::vector<std::string> endpoints;
  for (const auto& endpoint : state.outstanding) {
    if (endpoint.what == what) {
      endpoints.push_back(endpoint.endpoint);
    }
  }
  return endpoints;
}

ordered_json jsonOf(const PublisherState& state) {
  ordered_json publisher{{"publisher", state.id},
                         {"state", state.failed() ? "failed" : (state.ready() ? "ready" : "waiting")},
                         {"servicesPublished", state.servicesPublished},
                         {"endpointsToBindTo", outstandingOf(state, "to bind")},
                         {"endpointsToConnectTo", outstandingOf(state, "to connect")}};
  if (state.failed()) {
    publisher["error"] = state.error;
  }
  return publisher;
}

ordered_json jsonOf(const ReplayReport::IgnoredEvent& ignored) {
  const auto& line = *ignored.line;
  ordered_json event{{"line", line.number}, {"time", line.time}, {"kind", kindOf(line.event)}};
  withPublisher(line.event, [&](const std::string& publisher, std::uint32_t revision) {
    event["publisher"] = publisher;
    event["revision"] = revision;
  });
  event["event"] = std::visit(Description(), line.event);
  event["reason"] = nameOf(ignored.reason);
  event["explanation"] = explanationOf(ignored);
  return event;
}

ordered_json jsonOf(const ReplayReport::Drop& drop) {
  return {{"line", drop.line}, {"count", drop.count}};
}

template <class Elements>
ordered_json toList(const Elements& elements) {
  auto list = ordered_json::array();
  for (const auto& element : elements) {
    list.push_back(jsonOf(element));
  }
  return list;
}

}  // namespace

std::uint64_t ReplayReport::dropped() const {
  std::uint64_t sum = 0;
  for (const auto& drop : drops) {
    sum += drop.count;
  }
  return sum;
}

void print(std::ostream& stream, const ReplayReport& report) {
  stream << escaped(report.configurationID.empty() ? "configuration without an ID" : report.configurationID)
         << ", revision " << report.revision << ": " << counted(report.events, "event", "events") << ", "
         << report.ignored.size() << " without effect, " << report.dropped() << " dropped\n";
  if (!report.publishers.empty()) {
    stream << "publishers:\n";
  }
  for (const auto& state : report.publishers) {
    stream << "  " << escaped(state.id + ": " + describe(state)) << '\n';
  }
  if (!report.ignored.empty()) {
    stream << "events without effect:\n";
  }
  for (const auto& ignored : report.ignored) {
    stream << "  " << escaped(textOf(ignored)) << '\n';
  }
  if (!report.drops.empty()) {
    stream << "dropped while recording:\n";
  }
  for (const auto& drop : report.drops) {
    stream << "  line " << drop.line << ": " << counted(drop.count, "event", "events") << '\n';
  }
}

std::string asJson(const ReplayReport& report) {
  const ordered_json document{{"format_version", formatVersion},
                              {"recording", report.recording},
                              {"configurationID", report.configurationID},
                              {"revision", report.revision},
                              {"publishers", toList(report.publishers)},
                              {"events", report.events},
                              {"withoutEffect", toList(report.ignored)},
                              {"dropped", report.dropped()},
                              {"drops", toList(report.drops)}};
  return document.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace spfctl
