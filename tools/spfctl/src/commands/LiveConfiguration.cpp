#include "commands/LiveConfiguration.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworkwatch::PublisherWatch;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::uint32_t firstRevision = 1;

std::vector<std::string> publisherIDs(const ConfigurationDescription& description) {
  std::vector<std::string> ids;
  for (const auto& publisher : description.servicePublishers) {
    ids.push_back(publisher.uniqueID);
  }
  return ids;
}

}  // namespace

LiveConfiguration::LiveConfiguration(SharedSource source, Changes& changes, EventRecorder& recorder)
    : changes_(changes),
      recorder_(recorder),
      records_(changes),
      source_(std::move(source)),
      recordedID_(source_->description.configurationID),
      id_(recordedID_) {
  notePublication(*source_, firstRevision);
}

void LiveConfiguration::publish() {
  watch_ = watchFor(source_->description, firstRevision);
  configuration_ = toBuilder(source_->description).build();
  id_ = configuration_.getConfigurationID();
  noteStart(source_, firstRevision);
}

void LiveConfiguration::modify(SharedSource source) {
  const auto next = revision_ + 1;
  auto nextWatch = watchFor(source->description, next);
  notePublication(*source, next);
  try {
    configuration_ = modifiedTo(configuration_, source->description).build();
  } catch (...) {
    isLost_ = configuration_.getConfigurationID().empty();
    throw;
  }
  retireWatch(source->description);
  watch_ = std::move(nextWatch);
  noteStart(std::move(source), next);
}

bool LiveConfiguration::withdraw() noexcept {
  bool isWithdrawn = true;
  try {
    if (isLost_) {
      takeOver();
    }
  } catch (...) {
    isWithdrawn = false;
  }
  configuration_.reset();
  return isWithdrawn;
}

// A new builder's publication takes over the object of the ID in Configuration Admin, and with it the withdrawal.
void LiveConfiguration::takeOver() {
  auto description = source_->description;
  description.configurationID = id_;
  configuration_ = toBuilder(description).build();
}

// A new builder begins with the first revision. The framework takes that for a new start, and its late events for the
// old revisions could be taken for those of new ones. So the count is brought up to a revision that nobody has seen.
void LiveConfiguration::republish(const std::function<void()>& onProgress) {
  const auto next = revision_ + 1;
  auto nextWatch = watchFor(source_->description, next);
  notePublication(*source_, next);
  takeOver();
  for (auto revision = firstRevision; revision != next; ++revision) {
    onProgress();
    configuration_ = configuration_.modify().build();
  }
  isLost_ = false;
  retireWatch(source_->description);
  watch_ = std::move(nextWatch);
  noteStart(source_, next);
}

std::vector<PublisherState> LiveConfiguration::states() {
  if (!tracked_) {
    return {};
  }
  endpoints_ = records_.list();
  return tracked_->update(configuration_, endpoints_, steady_clock::now());
}

LiveConfiguration::Remainder LiveConfiguration::remainder() {
  Remainder remainder;
  const auto current = watch_->waitUntilAllUnpublished(milliseconds::zero());
  remainder.publishers = current.outstanding;
  pruneRetired();
  for (const auto& [watch, ids] : retired_) {
    remainder.publishers.insert(remainder.publishers.end(), ids.begin(), ids.end());
  }
  remainder.isDone = current.done && remainder.publishers.empty();
  return remainder;
}

LiveConfiguration::Watch LiveConfiguration::watchFor(const ConfigurationDescription& description,
                                                     std::uint32_t revision) {
  return std::make_unique<PublisherWatch>(agent::host::services::getFramework()->GetBundleContext(),
                                          publisherIDs(description), revision,
                                          [&changes = changes_] { changes.note(); });
}

// The current watch continues for those publishers that the next revision does not have. One that a later revision has
// again is followed by the new watch.
void LiveConfiguration::retireWatch(const ConfigurationDescription& next) {
  const auto kept = publisherIDs(next);
  std::set<std::string> removed;
  for (const auto& id : publisherIDs(source_->description)) {
    removed.insert(id);
  }
  for (const auto& id : kept) {
    removed.erase(id);
    for (auto& [watch, ids] : retired_) {
      ids.erase(id);
    }
  }
  retired_.emplace_back(std::move(watch_), std::move(removed));
  pruneRetired();
}

void LiveConfiguration::pruneRetired() {
  for (auto& [watch, ids] : retired_) {
    const auto present = watch->waitUntilAllUnpublished(milliseconds::zero()).outstanding;
    std::set<std::string> left;
    std::set_intersection(ids.begin(), ids.end(), present.begin(), present.end(), std::inserter(left, left.begin()));
    ids.swap(left);
  }
  retired_.erase(
      std::remove_if(retired_.begin(), retired_.end(), [](const auto& entry) { return entry.second.empty(); }),
      retired_.end());
}

void LiveConfiguration::notePublication(const ConfigurationSource& source, std::uint32_t revision) const {
  recorder_.notePublication(recordedID_, revision, source.file, source.text);
}

void LiveConfiguration::noteStart(SharedSource source, std::uint32_t revision) {
  source_ = std::move(source);
  revision_ = revision;
  publishedAt_ = std::chrono::system_clock::now();
  tracked_.emplace(source_->description, steady_clock::now());
}

}  // namespace spfctl
