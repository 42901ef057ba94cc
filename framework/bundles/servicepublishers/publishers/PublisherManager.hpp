#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "Environment.hpp"
#include "Publisher.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::publishers {

/// Owns all publishers, by the PIDs of their factory configurations, and the thread that they run on. Any thread may
/// call any member; only `stop` blocks.
class PublisherManager : public agent::spf::frameworkinterfaces::DiscoveryListener,
                         public agent::spf::frameworkinterfaces::HealthCheck {
 public:
  explicit PublisherManager(cppmicroservices::BundleContext context);

  /// Ends the thread.
  ~PublisherManager() override;

  PublisherManager(const PublisherManager&) = delete;
  PublisherManager& operator=(const PublisherManager&) = delete;

  /// Applies a revision of a factory configuration. One that cannot be read is reported as a failure.
  /// \throws std::out_of_range or cppmicroservices::BadAnyCastException if it names no publisher and revision
  void update(Kind kind, const std::string& pid, const cppmicroservices::AnyMap& properties);

  /// Withdraws the publisher of a factory configuration.
  void remove(const std::string& pid);

  /// Lets every publisher follow the services that are registered now.
  void followServices();

  void discoveryChanged() override;

  /// Returns the records of all endpoints, which the stop leaves empty.
  const std::shared_ptr<EndpointStates>& states() const noexcept { return states_; }

  void check(std::function<void()> done) override;

  /// Closes every socket, blocks until all are closed or a few seconds have passed, and ends the thread.
  void stop();

 private:
  /// What every publisher has to do once more.
  struct Following {
    const bool isAnnouncing = false;
    bool isRequested = false;
  };

  void follow(Following& following);

  /// \return what was set before
  bool exchangeRequested(Following& following, bool isRequested);

  /// Performs a task of the executor. If another discovery is in use by now, it announces everything first, so that no
  /// publisher takes another one for lost.
  /// \param isAnnouncing  whether everything is announced in any case
  void perform(const std::function<void()>& task, bool isAnnouncing = false);

  void announceAll();
  void accept(const std::string& pid, PublisherRevision revision);
  void reportUnreadable(const agent::spf::frameworkinterfaces::EventSink::Origin& origin, const std::string& why);
  void onSocket(const std::string& pid, SocketID id, const SocketReport& report);
  void forgetIfGone(const std::string& pid);
  void releaseAll();
  void noteIfClosed();

  // Constant after construction:
  const std::shared_ptr<EndpointStates> states_;
  const std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;

  // Used by the executor's tasks only:
  Environment environment_;
  std::map<std::string, Publisher> publishers_;
  bool releasing_ = false;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool closed_ = false;
  Following services_{true};
  Following names_{false};
};

}  // namespace spf::publishers
