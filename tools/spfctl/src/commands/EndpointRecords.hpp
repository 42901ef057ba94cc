#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "commands/Changes.hpp"

namespace spfctl {

/// The framework's records of endpoints, where it offers them; notes every change of them. For one thread; requires a
/// running host for as long as it lives.
class EndpointRecords {
 public:
  explicit EndpointRecords(Changes& changes);
  ~EndpointRecords();
  EndpointRecords(const EndpointRecords&) = delete;
  EndpointRecords& operator=(const EndpointRecords&) = delete;

  /// Returns the current records; none if the framework offers no such service now.
  std::vector<agent::spf::frameworkinterfaces::EndpointState> list();

 private:
  void forget();

  Changes& changes_;
  std::shared_ptr<agent::spf::frameworkinterfaces::EndpointStatus> service_;
  std::optional<agent::spf::frameworkinterfaces::EndpointStatus::ListenerID> listener_;
};

}  // namespace spfctl
