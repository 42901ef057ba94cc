#include "TransportPeerDirectory.hpp"

#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/Serialiser.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "agent/spf/frameworkinterfaces/findService.hpp"
#include "agent/spf/frameworkinterfaces/questions.hpp"

namespace spf::peers {

using agent::spf::frameworkinterfaces::findService;
using agent::spf::frameworkinterfaces::Serialiser;
using agent::spf::frameworkinterfaces::Transport;
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

AnyMap whatDoYouPublish() {
  AnyMap request(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  request[questions::question] = std::string(questions::whatDoYouPublish);
  return request;
}

}  // namespace

TransportPeerDirectory::TransportPeerDirectory(cppmicroservices::BundleContext context)
    : context_(std::move(context)) {}

AnyMap TransportPeerDirectory::ask(const std::string& servicePublisherID, const std::string& endpoint,
                                   std::chrono::milliseconds timeout) {
  const auto naming = [&](const auto& step) {
    try {
      return step();
    } catch (const std::exception& error) {
      throw std::runtime_error("publisher '" + servicePublisherID + "', endpoint '" + endpoint + "': " + error.what());
    }
  };
  const auto serialiser = naming([&] { return require<Serialiser>(context_, "serialiser"); });
  const auto transport = naming([&] { return require<Transport>(context_, "transport"); });
  const auto request = naming([&] { return serialiser->serialise(whatDoYouPublish()); });
  // Names both by itself.
  const auto answer = transport->ask(servicePublisherID, endpoint, request, timeout);
  return naming([&] { return serialiser->deserialise(answer); });
}

}  // namespace spf::peers
