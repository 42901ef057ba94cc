#include "Controller.hpp"

#include <utility>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace spf::controller {

using agent::spf::frameworksupport::deadlineAfter;

using cppmicroservices::AnyMap;

namespace {

/// How long a stop waits for the delivery of the removals.
constexpr std::chrono::seconds withdrawalTime{5};

}  // namespace

Controller::Controller(cppmicroservices::BundleContext context, std::shared_ptr<EventDispatcher> events)
    : events_(std::move(events)), withdrawals_(events_->withdrawals()), store_(std::move(context), stop_) {}

void Controller::Updated(const std::string& pid, const AnyMap& properties) {
  // Initialisers, since a constant capture would be copied again when the task is moved.
  executor_.post([this, pid = pid, revision = readRevision(pid, properties)]() mutable {
    if (!stop_.isRequested()) {
      update(pid, std::move(revision));
    }
  });
}

void Controller::Removed(const std::string& pid) {
  executor_.post([this, pid] {
    withdraw(pid);
    // A removal can be reported twice, the second time after the configuration was created again.
    if (const auto current = store_.find(pid); current && !stop_.isRequested()) {
      apply(pid, readRevision(pid, *current));
    }
  });
}

void Controller::stop() {
  stop_.request();
  executor_.post([this] { withdrawAll(); });
  executor_.stop();
}

void Controller::update(const std::string& pid, Revision revision) {
  const auto known = applied_.find(pid);
  if (known != applied_.end() && revision.modificationCount < known->second.modificationCount) {
    if (!isHeld(pid, revision.modificationCount)) {
      return;  // a late delivery of an older revision
    }
    withdraw(pid);
  }
  apply(pid, std::move(revision));
}

void Controller::apply(const std::string& pid, Revision revision) {
  Applied& applied = applied_[pid];
  applied.modificationCount = revision.modificationCount;
  auto superseded = std::exchange(applied.publishers, {});
  for (const Publisher& publisher : revision.publishers) {
    applied.publishers.emplace(publisher.key, publisher.servicePublisherID);
    superseded.erase(publisher.key);
  }
  for (const auto& [key, publisherID] : superseded) {
    remove(key, publisherID);
  }
  for (const Publisher& publisher : revision.publishers) {
    store_.write(publisher);
  }
  reportUnreadable(std::move(revision));
}

void Controller::withdraw(const std::string& pid) {
  const auto applied = applied_.find(pid);
  if (applied == applied_.end()) {
    return;
  }
  for (const auto& [key, publisherID] : applied->second.publishers) {
    remove(key, publisherID);
  }
  applied_.erase(applied);
}

void Controller::withdrawAll() {
  while (!applied_.empty()) {
    const std::string pid = applied_.begin()->first;
    withdraw(pid);
  }
  store_.awaitRemovals(deadlineAfter(withdrawalTime));
  withdrawals_.await();
}

void Controller::remove(const PublisherKey& key, const std::string& publisherID) {
  withdrawals_.expect(publisherID);
  if (!store_.remove(key)) {
    withdrawals_.cancel(publisherID);
  }
}

bool Controller::isHeld(const std::string& pid, std::uint32_t modificationCount) const {
  const auto current = store_.find(pid);
  return current && modificationCountOf(*current) == modificationCount;
}

void Controller::reportUnreadable(Revision revision) {
  for (UnreadablePublisher& publisher : revision.unreadable) {
    events_->failed({publisher.servicePublisherID, revision.modificationCount}, std::move(publisher.error));
  }
}

}  // namespace spf::controller
