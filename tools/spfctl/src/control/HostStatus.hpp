#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "display/PublisherState.hpp"
#include "file/ConfigurationSource.hpp"

namespace spfctl {

/// An installed bundle.
struct BundleStatus {
  std::string symbolicName;
  std::string version;
  std::string state;
  std::string file;
};

/// What a host says about itself.
struct HostStatus {
  enum class State {
    waiting,      ///< published; a publisher is neither ready nor failed
    ready,        ///< every publisher is ready
    failed,       ///< a publisher was refused by the framework
    lost,         ///< a publication failed: what was published before runs on, and cannot be changed until one succeeds
    withdrawing,  ///< the host is ending
  };

  State state = State::waiting;
  std::string configurationID;
  std::uint32_t revision = 0;
  std::chrono::system_clock::time_point since = std::chrono::system_clock::now();  ///< when the revision was published
  SharedSource source;
  std::vector<PublisherState> publishers;
  std::vector<agent::spf::frameworkinterfaces::EndpointState> endpoints;
  std::string lastError;  ///< of a publisher or a change of the configuration, also of an earlier revision
  std::vector<BundleStatus> bundles;
  std::chrono::steady_clock::time_point taken;  ///< when all this was so
};

/// Returns the word for a state, as it is printed.
const char* nameOf(HostStatus::State state);

/// The latest status of the host, for any thread.
class StatusBoard {
 public:
  void set(HostStatus status) {
    auto shared = std::make_shared<const HostStatus>(std::move(status));
    const std::lock_guard<std::mutex> lock(mutex_);
    status_.swap(shared);
  }

  std::shared_ptr<const HostStatus> get() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return status_;
  }

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::shared_ptr<const HostStatus> status_ = std::make_shared<const HostStatus>();
};

}  // namespace spfctl
