#include "PeerAnswer.hpp"

#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/Serialiser.hpp"
#include "agent/spf/frameworkinterfaces/questions.hpp"
#include "agent/spf/frameworksupport/findService.hpp"
#include "agent/spf/frameworksupport/findValue.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::Serialiser;
using agent::spf::frameworksupport::findService;
using agent::spf::frameworksupport::findValue;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
namespace questions = agent::spf::frameworkinterfaces::questions;

namespace {

void requireKnownQuestion(const AnyMap& request) {
  const auto* question = findValue<std::string>(request, questions::question);
  if (question == nullptr || *question != questions::whatDoYouPublish) {
    throw std::runtime_error(std::string("unknown question; expected '") + questions::whatDoYouPublish + "'");
  }
}

}  // namespace

PeerAnswer::PeerAnswer(cppmicroservices::BundleContext context, std::shared_ptr<const AllowedAskers> allowed)
    : context_(std::move(context)), allowed_(std::move(allowed)) {}

void PeerAnswer::set(const std::string& publisherID, const std::vector<MappedService>& services) {
  std::vector<Any> list;
  for (const MappedService& service : services) {
    AnyMap entry(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    entry[questions::uniqueID] = service.uniqueID;
    entry[questions::name] = service.name;
    list.emplace_back(std::move(entry));
  }
  auto content = std::make_shared<Content>();
  content->publisherID = publisherID;
  content->answer[questions::publisherID] = publisherID;
  content->answer[questions::services] = std::move(list);
  std::shared_ptr<const Content> next = std::move(content);
  const std::lock_guard<std::mutex> lock(mutex_);
  content_.swap(next);
}

std::string PeerAnswer::answer(const std::string& request, const std::string& asker) const {
  const auto current = content();
  allowed_->require(current->publisherID, asker);
  const auto serialiser = findService<Serialiser>(context_);
  if (!serialiser) {
    throw std::runtime_error("no serialiser is installed");
  }
  requireKnownQuestion(serialiser->deserialise(request));
  return serialiser->serialise(current->answer);
}

std::shared_ptr<const PeerAnswer::Content> PeerAnswer::content() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return content_;
}

}  // namespace spf::publishers
