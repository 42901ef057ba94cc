#include "events/ReplayedConfiguration.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <tuple>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceReference.h>
#include <nlohmann/json.hpp>

#include "agent/host/services.hpp"
#include "commands/publisherStates.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using std::chrono::milliseconds;
using Endpoints = std::vector<cppmicroservices::Any>;
using EventPointer = std::shared_ptr<const FrameworkEvent>;

namespace {

// Delivers an event as the framework does, and returns to how many listeners.
std::size_t send(const EventPointer& event) {
  auto context = agent::host::services::getFramework()->GetBundleContext();
  std::size_t listeners = 0;
  for (const auto& reference : context.GetServiceReferences<FrameworkListener>()) {
    if (const auto listener = context.GetService(reference)) {
      ++listeners;
      try {
        listener->handleEvent(event);
      } catch (...) {
        // The framework drops it as well, and delivers the event to the others.
      }
    }
  }
  return listeners;
}

bool isKnown(const RecordedServices& event) {
  return !nameOfServicesChange(event.change).empty();
}
bool isKnown(const RecordedEndpoint& event) {
  return !nameOfEndpointChange(event.change).empty();
}
bool isKnown(const RecordedError&) {
  return true;
}

bool isAboutBinding(const RecordedEndpoint& event) {
  return event.change == EndpointEvent::bound || event.change == EndpointEvent::stillBound;
}

// As JSON, since the text "5" and the number 5 are different endpoints.
std::string jsonTextOf(const cppmicroservices::Any& endpoint) {
  return toJson(endpoint).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

bool contains(const Endpoints& endpoints, const cppmicroservices::Any& endpoint) {
  const auto wanted = jsonTextOf(endpoint);
  return std::any_of(endpoints.begin(), endpoints.end(),
                     [&](const cppmicroservices::Any& candidate) { return jsonTextOf(candidate) == wanted; });
}

}  // namespace

bool ReplayedConfiguration::Progress::isSame(const Progress& other) const {
  // Endpoints only leave the lists.
  return toConnect.size() == other.toConnect.size() && toBind.size() == other.toBind.size() &&
         isPublished == other.isPublished && hasFailed == other.hasFailed;
}

void ReplayedConfiguration::publish(const RecordedConfiguration& recorded,
                                    const ConfigurationDescription& description) {
  const bool isNextRevision =
      !configuration_.empty() && recorded.configurationID == configurationID_ && recorded.revision > revision_;
  if (isNextRevision) {
    configuration_ = modifiedTo(configuration_, description).build();
    ++count_;
  } else {
    configuration_.reset();
    configuration_ = toBuilder(description).build();
    count_ = 1;
  }
  description_ = &description;
  configurationID_ = recorded.configurationID;
  revision_ = recorded.revision;
  unpublished_.clear();
  beginnings_.clear();
  for (const auto& publisher : description.servicePublishers) {
    beginnings_.emplace(publisher.uniqueID, *progressOf(publisher.uniqueID));
  }
}

std::optional<NoEffect> ReplayedConfiguration::deliver(const RecordedEvent& event) {
  if (const auto* const services = std::get_if<RecordedServices>(&event)) {
    return deliverTo(*services);
  }
  if (const auto* const endpoint = std::get_if<RecordedEndpoint>(&event)) {
    return deliverTo(*endpoint);
  }
  if (const auto* const error = std::get_if<RecordedError>(&event)) {
    return deliverTo(*error);
  }
  if (const auto* const other = std::get_if<RecordedOther>(&event)) {
    send(std::make_shared<const FrameworkEvent>(FrameworkEvent{other->number}));
    return NoEffect::unknownKind;
  }
  return std::nullopt;
}

template <class Event>
std::optional<NoEffect> ReplayedConfiguration::deliverTo(const Event& event) {
  const auto before = progressOf(event.publisher);
  const auto listeners = send(eventOf(event));
  if (before && !progressOf(event.publisher)->isSame(*before)) {
    return std::nullopt;
  }
  return reasonFor(event, listeners, before);
}

template <class Event>
std::optional<NoEffect> ReplayedConfiguration::reasonFor(const Event& event, std::size_t listeners,
                                                         const std::optional<Progress>& progress) {
  if (configuration_.empty()) {
    return NoEffect::early;
  }
  if (!isKnown(event)) {
    return NoEffect::unknownChange;
  }
  if (countFor(event.revision) < count_) {
    return NoEffect::stale;
  }
  if (!progress) {
    return NoEffect::foreign;
  }
  if (listeners == 0) {
    return NoEffect::tooLate;
  }
  return reasonForKnown(event, *progress);
}

// The library's record of an unpublished publisher can be seen only by withdrawing the configuration, so it is kept
// here.
std::optional<NoEffect> ReplayedConfiguration::reasonForKnown(const RecordedServices& event, const Progress& progress) {
  if (event.change == ServicesEvent::allUnpublished && unpublished_.insert(event.publisher).second) {
    return std::nullopt;
  }
  const bool isFinal = event.change == ServicesEvent::allPublished && progress.isComplete();
  return isFinal ? NoEffect::publisherComplete : NoEffect::repeated;
}

std::optional<NoEffect> ReplayedConfiguration::reasonForKnown(const RecordedEndpoint& event, const Progress& progress) {
  if (progress.isComplete()) {
    return NoEffect::publisherComplete;
  }
  const bool isBinding = isAboutBinding(event);
  const auto& publishers = description_->servicePublishers;
  const auto publisher = std::find_if(publishers.begin(), publishers.end(),
                                      [&](const auto& candidate) { return candidate.uniqueID == event.publisher; });
  if (!contains(isBinding ? publisher->endpointsToBindTo : publisher->endpointsToConnectTo, event.endpoint)) {
    return NoEffect::unknownEndpoint;
  }
  const auto& beginning = beginnings_.at(event.publisher);
  if (!contains(isBinding ? beginning.toBind : beginning.toConnect, event.endpoint)) {
    return NoEffect::untrackedEndpoint;
  }
  const bool isOutstanding = contains(isBinding ? progress.toBind : progress.toConnect, event.endpoint);
  return isOutstanding ? NoEffect::incomparableEndpoint : NoEffect::repeated;
}

// A publisher that is not complete takes any error.
std::optional<NoEffect> ReplayedConfiguration::reasonForKnown(const RecordedError&, const Progress&) {
  return NoEffect::publisherComplete;
}

std::vector<PublisherState> ReplayedConfiguration::states() {
  if (configuration_.empty()) {
    return {};
  }
  const auto now = std::chrono::steady_clock::now();
  return PublisherStates(*description_, now).update(configuration_, {}, now);
}

std::optional<ReplayedConfiguration::Progress> ReplayedConfiguration::progressOf(const std::string& publisher) {
  Progress progress;
  try {
    std::tie(progress.toConnect, progress.toBind) = configuration_.listOutstandingEndpoints(publisher);
  } catch (const std::out_of_range&) {
    return std::nullopt;  // the configuration has no such publisher
  }
  try {
    progress.isPublished = configuration_.waitForAllServices(milliseconds::zero(), publisher);
  } catch (const std::exception&) {
    progress.hasFailed = true;
  }
  return progress;
}

// The recorded revisions of a host are those of the library here, but for the distance between the two: a host may have
// published revisions before the recording began. Those from before become 0, which is before any revision.
std::uint32_t ReplayedConfiguration::countFor(std::uint32_t revision) const {
  const auto distance = revision_ - count_;
  return revision > distance ? revision - distance : 0;
}

EventPointer ReplayedConfiguration::eventOf(const RecordedServices& event) const {
  return std::make_shared<const ServicesEvent>(
      ServicesEvent{{FrameworkEvent::services}, event.change, event.publisher, countFor(event.revision)});
}

EventPointer ReplayedConfiguration::eventOf(const RecordedEndpoint& event) const {
  return std::make_shared<const EndpointEvent>(EndpointEvent{
      {FrameworkEvent::endpoint}, event.change, event.endpoint, event.publisher, countFor(event.revision)});
}

// The recorder writes no empty text, and one would not be seen as a failure.
EventPointer ReplayedConfiguration::eventOf(const RecordedError& event) const {
  const auto* const text = event.error.empty() ? "an error without a text" : event.error.c_str();
  return std::make_shared<const ErrorEvent>(ErrorEvent{{FrameworkEvent::error},
                                                       std::make_exception_ptr(std::runtime_error(text)),
                                                       event.publisher,
                                                       countFor(event.revision)});
}

}  // namespace spfctl
