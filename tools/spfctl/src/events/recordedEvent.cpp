#include "events/recordedEvent.hpp"

#include <array>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <nlohmann/json.hpp>

#include "display/utcTime.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using nlohmann::ordered_json;

constexpr int formatVersion = 1;

const std::array<const char*, 2> servicesChanges = {"allPublished", "allUnpublished"};
const std::array<const char*, 4> endpointChanges = {"bound", "stillBound", "connected", "stillConnected"};

static_assert(ServicesEvent::allPublished == 0 && ServicesEvent::allUnpublished == 1);
static_assert(EndpointEvent::bound == 0 && EndpointEvent::stillBound == 1 && EndpointEvent::connected == 2 &&
              EndpointEvent::stillConnected == 3);

template <class Names>
std::string nameOf(const Names& names, std::uint32_t change) {
  return change < names.size() ? names[change] : std::string();
}

std::string nonEmpty(std::string text) {
  return text.empty() ? "an error without a text" : std::move(text);
}

std::string textOf(const std::exception_ptr& error) {
  if (!error) {
    return "no reason";
  }
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return nonEmpty(exception.what());
  } catch (...) {
    return nonEmpty({});
  }
}

template <class Value>
bool copyIfIs(const Any& value, Any& copy) {
  const auto* const held = any_cast<Value>(&value);
  if (held != nullptr) {
    copy = Any(*held);
  }
  return held != nullptr;
}

// A value of a type that only the sender knows.
std::string foreignText(const Any& value) {
  try {
    return value.ToString();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return "a value without a text";
  }
}

// A copy of a value holds functions of the code that made the first one; this one is made here, at every depth.
Any detached(const Any& value) {
  Any copy;
  if (value.Empty() || copyIfIs<std::string>(value, copy) || copyIfIs<int>(value, copy) ||
      copyIfIs<bool>(value, copy) || copyIfIs<double>(value, copy)) {
    return copy;
  }
  if (const auto* const list = any_cast<std::vector<Any>>(&value)) {
    std::vector<Any> elements;
    elements.reserve(list->size());
    for (const auto& element : *list) {
      elements.push_back(detached(element));
    }
    return Any(std::move(elements));
  }
  if (const auto* const map = any_cast<AnyMap>(&value)) {
    AnyMap members(map->GetType());
    for (const auto& [key, member] : *map) {
      members.emplace(key, detached(member));
    }
    return Any(std::move(members));
  }
  return Any(foreignText(value));
}

// Makes the line of each kind; the keys in the order in which people read them.
class Line {
 public:
  explicit Line(std::chrono::system_clock::time_point time) : time_(utcTime(time)) {}

  ordered_json operator()(const RecordedConfiguration& event) const {
    return {{"version", formatVersion},
            {"kind", "configuration"},
            {"time", time_},
            {"configurationID", event.configurationID},
            {"revision", event.revision},
            {"file", event.file},
            {"text", event.text}};
  }
  ordered_json operator()(const RecordedServices& event) const {
    auto line = ofPublisher("services", event);
    line["change"] = change(nameOfServicesChange(event.change), event.change);
    return line;
  }
  ordered_json operator()(const RecordedEndpoint& event) const {
    auto line = ofPublisher("endpoint", event);
    line["change"] = change(nameOfEndpointChange(event.change), event.change);
    line["endpoint"] = toJson(event.endpoint);
    return line;
  }
  ordered_json operator()(const RecordedError& event) const {
    auto line = ofPublisher("error", event);
    line["error"] = event.error;
    return line;
  }
  ordered_json operator()(const RecordedOther& event) const {
    return {{"kind", "other"}, {"time", time_}, {"number", event.number}};
  }
  ordered_json operator()(const RecordedDrop& event) const {
    return {{"kind", "dropped"}, {"time", time_}, {"count", event.count}};
  }

 private:
  template <class Event>
  ordered_json ofPublisher(const char* kind, const Event& event) const {
    return {{"kind", kind}, {"time", time_}, {"publisher", event.publisher}, {"revision", event.revision}};
  }

  static ordered_json change(const std::string& name, std::uint32_t number) {
    return name.empty() ? ordered_json(number) : ordered_json(name);
  }

  const std::string time_;
};

}  // namespace

// The records have no virtual functions: `kind` says which one it is.
RecordedEvent recorded(const FrameworkEvent& event) {
  switch (event.kind) {
    case FrameworkEvent::services: {
      const auto& services = static_cast<const ServicesEvent&>(event);
      return RecordedServices{services.servicePublisherID, services.modificationCount, services.change};
    }
    case FrameworkEvent::error: {
      const auto& error = static_cast<const ErrorEvent&>(event);
      return RecordedError{error.servicePublisherID, error.modificationCount, textOf(error.error)};
    }
    case FrameworkEvent::endpoint: {
      const auto& endpoint = static_cast<const EndpointEvent&>(event);
      return RecordedEndpoint{endpoint.servicePublisherID, endpoint.modificationCount, endpoint.change,
                              detached(endpoint.endpoint)};
    }
    default:
      return RecordedOther{event.kind};
  }
}

std::string lineOf(const RecordedEvent& event, std::chrono::system_clock::time_point time) {
  return std::visit(Line(time), event).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string nameOfServicesChange(std::uint32_t change) {
  return nameOf(servicesChanges, change);
}

std::string nameOfEndpointChange(std::uint32_t change) {
  return nameOf(endpointChanges, change);
}

}  // namespace spfctl
