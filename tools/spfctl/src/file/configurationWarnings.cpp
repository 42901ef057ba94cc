#include "file/configurationWarnings.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "agent/spf/frameworksupport/Address.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "file/endpointTexts.hpp"
#include "file/jsonText.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::Address;
using agent::spf::frameworksupport::mayCollide;
using agent::spf::frameworksupport::parseAddress;
using agent::spf::frameworksupport::Place;
using agent::spf::frameworksupport::placeOf;
using agent::spf::frameworksupport::requireNoKey;
using agent::spf::frameworksupport::Scheme;
using Kind = JsonValue::Kind;
using Texts = std::unordered_set<std::string>;

constexpr const char* trackedPublisherName = "rpcservicepublisher";

const JsonValue* find(const JsonValue& object, const char* key, Kind kind) {
  const auto found = std::find_if(object.members.begin(), object.members.end(),
                                  [&](const JsonValue::Member& member) { return member.key == key; });
  return found != object.members.end() && found->value.kind == kind ? &found->value : nullptr;
}

std::string textOf(const JsonValue& object, const char* key) {
  const auto* const value = find(object, key, Kind::string);
  return value == nullptr ? std::string() : value->text;
}

const std::vector<JsonValue>& listOf(const JsonValue& object, const char* key) {
  static const std::vector<JsonValue> none;
  const auto* const value = find(object, key, Kind::array);
  return value == nullptr ? none : value->elements;
}

// The places that a configuration binds, by what all that may collide have in common.
class BoundPlaces {
 public:
  /// Adds the place of an address. \return an address before it that cannot be bound as well; empty if there is none
  std::string add(const Address& address) {
    const auto place = placeOf(address);
    if (!place) {
      return {};
    }
    const auto key =
        std::to_string(static_cast<int>(place->scheme)) + ' ' + std::to_string(place->port) + ' ' + place->name;
    auto& others = places_[key];
    const auto collision = std::find_if(others.begin(), others.end(), [&](const auto& other) {
      return cannotBoth(other, {*place, address});
    });
    auto found = collision == others.end() ? std::string() : collision->address.text;
    if (others.size() < mostCompared) {
      others.push_back({*place, address});
    }
    return found;
  }

 private:
  // Keeps the work linear where very many hosts have one port.
  static constexpr std::size_t mostCompared = 64;

  struct Bound {
    Place place;
    Address address;
  };

  // Hosts that only the system knows may be different ones unless they are spelled alike.
  static bool cannotBoth(const Bound& left, const Bound& right) {
    if (left.place.scheme == Scheme::tcp && (!left.place.host || !right.place.host)) {
      return left.address.where == right.address.where;
    }
    return mayCollide(left.place, right.place);
  }

  std::unordered_map<std::string, std::vector<Bound>> places_;
};

// Looks at one configuration's publishers one after the other.
class Warnings {
 public:
  explicit Warnings(Findings& findings) : findings_(findings) {}

  void configuration(const JsonValue& value) {
    const auto& interfaces = listOf(value, "serviceInterfaces");
    const bool allAreMapped = std::any_of(interfaces.begin(), interfaces.end(), [](const JsonValue& candidate) {
      const auto* const mark = find(candidate, "toAllServicePublishers", Kind::boolean);
      return mark != nullptr && mark->text == "true";
    });
    Texts mapped;
    for (const auto& mapping : listOf(value, "serviceMappings")) {
      mapped.insert(textOf(mapping, "servicePublisherID"));
    }
    for (const auto& publisher : listOf(value, "servicePublishers")) {
      warnAboutPublisher(publisher, allAreMapped || mapped.count(textOf(publisher, "uniqueID")) != 0);
    }
  }

 private:
  void warnAboutPublisher(const JsonValue& publisher, bool isMapped) {
    const auto id = textOf(publisher, "uniqueID");
    if (!isMapped && find(publisher, "uniqueID", Kind::string) != nullptr) {
      findings_.warning(publisher.offset, "the publisher '" + id + "' publishes nothing; expected a service mapping");
    }
    const auto* const name = find(publisher, "name", Kind::string);
    if (name != nullptr && name->text != trackedPublisherName) {
      findings_.warning(name->offset, "nobody waits for the endpoints of a publisher named '" + name->text +
                                          "'; expected '" + trackedPublisherName + "'");
    }
    warnAboutEndpoints(listOf(publisher, "endpointsToConnectTo"), false);
    warnAboutEndpoints(listOf(publisher, "endpointsToBindTo"), true);
  }

  void warnAboutEndpoints(const std::vector<JsonValue>& endpoints, bool areBound) {
    Texts seen;
    for (const auto& endpoint : endpoints) {
      if (!seen.insert(jsonText(endpoint)).second) {
        findings_.warning(endpoint.offset, "the endpoint " + jsonText(endpoint) + " is given twice; expected it once");
      } else if (endpoint.kind != Kind::string) {
        findings_.warning(endpoint.offset, std::string("the endpoint is ") + nameOf(endpoint.kind) +
                                               ", which the framework refuses; expected a string");
      } else if (!isDiscoveryName(endpoint.text)) {
        warnAboutAddress(endpoint, areBound);
      }
    }
  }

  void warnAboutAddress(const JsonValue& endpoint, bool isBound) {
    const auto problem = isBound ? whyNotBound(endpoint.text) : whyNoPeer(endpoint.text);
    if (!problem.empty()) {
      findings_.warning(endpoint.offset, problem);
    }
  }

  std::string whyNotBound(const std::string& text) {
    try {
      requireNoKey(text);
      const auto other = bound_.add(parseAddress(text));
      return other.empty() ? ""
                           : "the address '" + text + "' is bound twice, as '" + other +
                                 "' before; expected an address of its own";
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  Findings& findings_;
  BoundPlaces bound_;
};

}  // namespace

void warnAbout(const JsonValue& configuration, Findings& findings) {
  Warnings(findings).configuration(configuration);
}

}  // namespace spfctl
