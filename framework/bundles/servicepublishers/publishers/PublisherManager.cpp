#include "PublisherManager.hpp"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworksupport::deadlineAfter;
using agent::spf::frameworksupport::SerialExecutor;
using cppmicroservices::AnyMap;

namespace {

/// How long a stop waits for the sockets. The transport has a shorter limit of its own.
constexpr std::chrono::seconds closingTime{5};

}  // namespace

PublisherManager::PublisherManager(cppmicroservices::BundleContext context)
    : states_(std::make_shared<EndpointStates>()),
      executor_(std::make_shared<SerialExecutor>()),
      environment_(
          std::move(context), executor_, states_,
          [this](const std::string& pid, SocketID id, const SocketReport& report) { onSocket(pid, id, report); }) {}

PublisherManager::~PublisherManager() {
  executor_->stop();
}

void PublisherManager::update(Kind kind, const std::string& pid, const AnyMap& properties) {
  const EventSink::Origin origin = readOrigin(properties);
  std::function<void()> task;
  try {
    // Read on this thread, since a revision is less to copy than its properties. The captures are initialised, because
    // constant ones would be copied when the task is moved.
    task = [this, pid = pid, revision = readRevision(kind, properties)]() mutable { accept(pid, std::move(revision)); };
  } catch (const std::exception& error) {
    task = [this, origin, why = std::string(error.what())] { reportUnreadable(origin, why); };
  }
  executor_->post([this, task = std::move(task)] {
    if (!releasing_) {
      perform(task);
    }
  });
}

void PublisherManager::accept(const std::string& pid, PublisherRevision revision) {
  const EventSink::Origin origin = revision.origin;
  try {
    publishers_.try_emplace(pid, environment_, pid).first->second.update(std::move(revision));
  } catch (const std::exception& error) {
    reportUnreadable(origin, error.what());
  }
}

void PublisherManager::reportUnreadable(const EventSink::Origin& origin, const std::string& why) {
  if (const auto sink = environment_.eventSink()) {
    sink->failed(origin, std::make_exception_ptr(std::runtime_error("publisher '" + origin.servicePublisherID +
                                                                    "': its configuration cannot be read: " + why)));
  }
}

void PublisherManager::remove(const std::string& pid) {
  executor_->post([this, pid] {
    perform([&] {
      const auto publisher = publishers_.find(pid);
      if (publisher != publishers_.end()) {
        publisher->second.remove();
        forgetIfGone(pid);
      }
    });
  });
}

void PublisherManager::followServices() {
  follow(services_);
}

void PublisherManager::discoveryChanged() {
  follow(names_);
}

void PublisherManager::follow(Following& following) {
  if (exchangeRequested(following, true)) {
    return;  // what was requested before has not begun yet
  }
  try {
    executor_->post([this, &following] {
      exchangeRequested(following, false);
      perform(
          [this] {
            for (auto& [pid, publisher] : publishers_) {
              publisher.follow();
            }
          },
          following.isAnnouncing);
    });
  } catch (...) {
    exchangeRequested(following, false);
    throw;
  }
}

bool PublisherManager::exchangeRequested(Following& following, bool isRequested) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(following.isRequested, isRequested);
}

void PublisherManager::perform(const std::function<void()>& task, bool isAnnouncing) {
  struct Use {
    explicit Use(Environment& used) : environment(used), isOther(used.useDiscovery()) {}
    ~Use() { environment.releaseDiscovery(); }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    Environment& environment;
    const bool isOther;
  };
  const Use use(environment_);
  if (use.isOther || isAnnouncing) {
    announceAll();
    environment_.noteAnnounced();
  }
  task();
}

void PublisherManager::announceAll() {
  for (auto& [pid, publisher] : publishers_) {
    publisher.announce();
  }
}

void PublisherManager::check(std::function<void()> done) {
  executor_->post(std::move(done));
}

void PublisherManager::stop() {
  executor_->post([this] { releaseAll(); });
  {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, deadlineAfter(closingTime), [this] { return closed_; });
  }
  executor_->stop();
  states_->stop();
}

void PublisherManager::onSocket(const std::string& pid, SocketID id, const SocketReport& report) {
  perform([&] {
    const auto publisher = publishers_.find(pid);
    if (publisher != publishers_.end()) {
      publisher->second.onSocket(id, report);
      forgetIfGone(pid);
    }
  });
  noteIfClosed();
}

void PublisherManager::forgetIfGone(const std::string& pid) {
  const auto publisher = publishers_.find(pid);
  if (publisher->second.isGone()) {
    publishers_.erase(publisher);
  }
}

void PublisherManager::releaseAll() {
  releasing_ = true;
  for (auto& [pid, publisher] : publishers_) {
    publisher.release();
  }
  noteIfClosed();
}

void PublisherManager::noteIfClosed() {
  const auto hasSockets = [](const auto& entry) { return entry.second.hasSockets(); };
  if (!releasing_ || std::any_of(publishers_.begin(), publishers_.end(), hasSockets)) {
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
  }
  changed_.notify_all();
}

}  // namespace spf::publishers
