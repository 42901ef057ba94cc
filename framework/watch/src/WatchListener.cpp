#include "WatchListener.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace agent::spf::frameworkwatch {

using frameworklistener::EndpointEvent;
using frameworklistener::ErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::ServicesEvent;
using frameworksupport::deadlineAfter;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

std::string textOf(const std::exception_ptr& error) {
  if (!error) {
    return "the framework gave no reason";
  }
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "an error without a text";
  }
}

}  // namespace

WatchListener::WatchListener(const std::vector<std::string>& publisherIDs, std::uint32_t revision,
                             std::function<void()> onChange)
    : onChange_(std::move(onChange)), expected_(revision) {
  for (const auto& id : publisherIDs) {
    publishers_.try_emplace(id);
  }
}

// The records have no virtual functions: `kind` says which one it is.
void WatchListener::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  if (event->kind == FrameworkEvent::services) {
    const auto& services = static_cast<const ServicesEvent&>(*event);
    if (services.change == ServicesEvent::allPublished) {
      note(services.servicePublisherID,
           [&](PublisherState& publisher) { publisher.notePublished(services.modificationCount); });
    } else if (services.change == ServicesEvent::allUnpublished) {
      note(services.servicePublisherID,
           [&](PublisherState& publisher) { publisher.noteUnpublished(services.modificationCount); });
    }
  } else if (event->kind == FrameworkEvent::error) {
    const auto& error = static_cast<const ErrorEvent&>(*event);
    // Outside of the lock, since reading the text runs code of the error.
    auto reason = textOf(error.error);
    note(error.servicePublisherID,
         [&](PublisherState& publisher) { publisher.noteFailure(error.modificationCount, std::move(reason)); });
  } else if (event->kind == FrameworkEvent::endpoint) {
    const auto& endpoint = static_cast<const EndpointEvent&>(*event);
    note(endpoint.servicePublisherID,
         [&](PublisherState& publisher) { publisher.noteReport(endpoint.modificationCount); });
  }
}

template <class Change>
void WatchListener::note(const std::string& publisherID, const Change& change) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto publisher = publishers_.find(publisherID);
    if (publisher == publishers_.end()) {
      return;
    }
    change(publisher->second);
  }
  changed_.notify_all();
  onChange_.call();
}

void WatchListener::expectRevision(std::uint32_t revision) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (revision > expected_) {
    expected_ = revision;
    withdrawn_.reset();
  }
}

WatchResult WatchListener::waitUntilAllPublished(milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (timeout > timeout.zero()) {
    changed_.wait_until(lock, deadlineAfter(timeout), [this] { return areAllPublished() || hasAnyFailed(); });
  }
  return publishedResult();
}

WatchResult WatchListener::waitUntilAllUnpublished(milliseconds timeout, milliseconds silenceLimit) {
  const auto now = steady_clock::now();
  const auto deadline = deadlineAfter(timeout, now);
  std::unique_lock<std::mutex> lock(mutex_);
  if (!withdrawn_) {
    withdrawn_ = now;
  }
  const auto silenceEnds = deadlineAfter(silenceLimit, *withdrawn_);
  if (timeout > timeout.zero()) {
    changed_.wait_until(lock, std::min(deadline, silenceEnds), [this] { return !isAnyPresent() && !isAnySilent(); });
    if (silenceEnds < deadline) {
      changed_.wait_until(lock, deadline, [this] { return !isAnyPresent(); });
    }
  }
  return unpublishedResult(silenceEnds);
}

template <class Predicate>
bool WatchListener::any(Predicate predicate) const {
  return std::any_of(publishers_.begin(), publishers_.end(),
                     [&](const auto& entry) { return predicate(entry.second); });
}

bool WatchListener::isAnyPresent() const {
  return any([](const PublisherState& publisher) { return publisher.isPresent(); });
}

bool WatchListener::isAnySilent() const {
  return any([this](const PublisherState& publisher) { return publisher.isSilent(expected_); });
}

bool WatchListener::areAllPublished() const {
  return !any([this](const PublisherState& publisher) { return !publisher.isPublished(expected_); });
}

bool WatchListener::hasAnyFailed() const {
  return any([this](const PublisherState& publisher) { return publisher.hasFailed(expected_); });
}

WatchResult WatchListener::publishedResult() const {
  WatchResult result;
  result.failed = failures();
  for (const auto& [id, publisher] : publishers_) {
    if (publisher.isSilent(expected_)) {
      result.silent.push_back(id);
    } else if (!publisher.isPublished(expected_) && !publisher.hasFailed(expected_)) {
      result.outstanding.push_back(id);
    }
  }
  result.done = areAllPublished() && result.failed.empty();
  return result;
}

WatchResult WatchListener::unpublishedResult(TimePoint silenceEnds) const {
  WatchResult result;
  result.failed = failures();
  for (const auto& [id, publisher] : publishers_) {
    if (publisher.isPresent()) {
      result.outstanding.push_back(id);
    } else if (publisher.isSilent(expected_)) {
      result.silent.push_back(id);
    }
  }
  result.done = result.outstanding.empty() && (result.silent.empty() || steady_clock::now() >= silenceEnds);
  return result;
}

std::vector<FailedPublisher> WatchListener::failures() const {
  std::vector<FailedPublisher> failed;
  for (const auto& [id, publisher] : publishers_) {
    if (publisher.hasFailed(expected_)) {
      failed.push_back({id, publisher.reason()});
    }
  }
  return failed;
}

}  // namespace agent::spf::frameworkwatch
