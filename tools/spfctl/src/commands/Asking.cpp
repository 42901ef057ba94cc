#include "commands/Asking.hpp"

#include <exception>
#include <memory>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "agent/spf/frameworkinterfaces/PeerDirectory.hpp"
#include "agent/spf/frameworksupport/findService.hpp"
#include "agent/spf/frameworksupport/text.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworkinterfaces::PeerDirectory;
using agent::spf::frameworksupport::text;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;

std::string describeAnswer(const AnyMap& answer) {
  std::string services;
  for (const auto& entry : ref_any_cast<std::vector<Any>>(answer.at("services"))) {
    const auto& service = ref_any_cast<AnyMap>(entry);
    services += (services.empty() ? "" : ", ") + text(service, "uniqueID") + " (" + text(service, "name") + ")";
  }
  return text(answer, "publisherID") + " publishes " + (services.empty() ? "nothing" : services);
}

}  // namespace

AskResult askPeer(const std::string& publisherID, const std::string& endpoint, std::chrono::milliseconds timeout) {
  const auto directory = agent::spf::frameworksupport::findService<PeerDirectory>(
      agent::host::services::getFramework()->GetBundleContext());
  if (!directory) {
    return {};
  }
  try {
    return {true, publisherID + ": the peer at " + endpoint +
                      " answers: " + describeAnswer(directory->ask(publisherID, endpoint, timeout))};
  } catch (const std::exception& exception) {
    return {false, std::string("no answer: ") + exception.what()};
  }
}

}  // namespace spfctl
