#include "PublisherRevision.hpp"

#include "agent/spf/frameworksupport/findValue.hpp"
#include "agent/spf/frameworksupport/text.hpp"

namespace spf::publishers {

using agent::spf::frameworksupport::findValue;
using agent::spf::frameworksupport::text;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;
using List = std::vector<Any>;

agent::spf::frameworkinterfaces::EventSink::Origin readOrigin(const AnyMap& properties) {
  return {text(properties, "uniqueID"), static_cast<std::uint32_t>(any_cast<int>(properties.at("modificationCount")))};
}

PublisherRevision readRevision(Kind kind, const AnyMap& properties) {
  const auto& config = ref_any_cast<AnyMap>(properties.at("config"));
  PublisherRevision revision{kind,
                             readOrigin(properties),
                             any_cast<List>(config.at("endpointsToBindTo")),
                             any_cast<List>(config.at("endpointsToConnectTo")),
                             text(config, "importFilter"),
                             text(config, "exportFilter"),
                             {},
                             {}};
  if (const auto* id = findValue<std::string>(properties, "configurationID")) {
    revision.configurationID = *id;
  }
  for (const Any& element : ref_any_cast<List>(properties.at("services"))) {
    const auto& service = ref_any_cast<AnyMap>(element);
    revision.services.push_back({text(service, "uniqueID"), text(service, "name")});
  }
  return revision;
}

}  // namespace spf::publishers
