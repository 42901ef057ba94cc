#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "Environment.hpp"
#include "Publisher.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::publishers {

/// All publishers, by the PID of their factory configuration, and the thread that they live on.
/// Any thread may call any member; nothing but `stop` blocks.
class PublisherManager {
 public:
  explicit PublisherManager(cppmicroservices::BundleContext context);

  /// Ends the thread.
  ~PublisherManager();

  PublisherManager(const PublisherManager&) = delete;
  PublisherManager& operator=(const PublisherManager&) = delete;

  void update(Kind kind, const std::string& pid, const cppmicroservices::AnyMap& properties);
  void remove(const std::string& pid);

  /// Has every publisher open what it could not open before: a service that it needs has come.
  void retry();

  /// Closes every socket, waits for that a few seconds at most, and ends the thread.
  void stop();

 private:
  void take(Kind kind, const std::string& pid, const cppmicroservices::AnyMap& properties);
  void onSocket(const std::string& pid, SocketID id, SocketEvent event, const std::exception_ptr& reason);
  void forgetIfGone(const std::string& pid);
  void releaseAll();
  void noteIfClosed();

  // Constant after construction:
  const std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;

  // Used by the executor's tasks only:
  Environment environment_;
  std::map<std::string, Publisher> publishers_;
  bool releasing_ = false;

  std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool closed_ = false;
};

}  // namespace spf::publishers
