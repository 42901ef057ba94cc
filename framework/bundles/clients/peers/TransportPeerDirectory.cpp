#include "TransportPeerDirectory.hpp"

#include <stdexcept>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/Serialiser.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworkinterfaces/questions.hpp"
#include "agent/spf/frameworksupport/findService.hpp"
#include "agent/spf/frameworksupport/findValue.hpp"

namespace spf::peers {

using agent::spf::frameworkinterfaces::Serialiser;
using agent::spf::frameworkinterfaces::Transport;
using agent::spf::frameworksupport::findService;
using agent::spf::frameworksupport::findValue;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
namespace questions = agent::spf::frameworkinterfaces::questions;

namespace {

template <class Service>
std::shared_ptr<Service> require(const cppmicroservices::BundleContext& context, const char* what) {
  auto service = findService<Service>(context);
  if (!service) {
    throw std::runtime_error(std::string("no ") + what + " is installed");
  }
  return service;
}

void requireText(const AnyMap& map, const char* key, const std::string& where) {
  if (findValue<std::string>(map, key) == nullptr) {
    throw std::runtime_error("the peer's answer has no text '" + std::string(key) + "'" + where);
  }
}

/// Checks that an answer has the form that PeerDirectory promises.
/// \throws std::runtime_error naming what is missing
void requireCompleteAnswer(const AnyMap& answer) {
  requireText(answer, questions::publisherID, "");
  const auto* services = findValue<std::vector<Any>>(answer, questions::services);
  if (services == nullptr) {
    throw std::runtime_error("the peer's answer has no list '" + std::string(questions::services) + "'");
  }
  for (std::size_t position = 0; position < services->size(); ++position) {
    const std::string where = std::string(" in ") + questions::services + "[" + std::to_string(position) + "]";
    const auto* service = any_cast<AnyMap>(&(*services)[position]);
    if (service == nullptr) {
      throw std::runtime_error("the peer's answer has no map" + where);
    }
    requireText(*service, questions::uniqueID, where);
    requireText(*service, questions::name, where);
  }
}

AnyMap makeRequest() {
  AnyMap request(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  request[questions::question] = std::string(questions::whatDoYouPublish);
  return request;
}

}  // namespace

TransportPeerDirectory::TransportPeerDirectory(cppmicroservices::BundleContext context)
    : context_(std::move(context)) {}

AnyMap TransportPeerDirectory::ask(const std::string& servicePublisherID, const std::string& endpoint,
                                   std::chrono::milliseconds timeout) {
  const auto addContext = [&](const auto& step) {
    try {
      return step();
    } catch (const std::exception& error) {
      throw std::runtime_error("publisher '" + servicePublisherID + "', endpoint '" + endpoint + "': " + error.what());
    }
  };
  const auto serialiser = addContext([&] { return require<Serialiser>(context_, "serialiser"); });
  const auto transport = addContext([&] { return require<Transport>(context_, "transport"); });
  const auto request = addContext([&] { return serialiser->serialise(makeRequest()); });
  // Its errors name publisher and endpoint already.
  const auto text = transport->ask(servicePublisherID, endpoint, request, timeout);
  return addContext([&] {
    AnyMap answer = serialiser->deserialise(text);
    requireCompleteAnswer(answer);
    return answer;
  });
}

}  // namespace spf::peers
