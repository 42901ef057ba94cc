#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "commands/Changes.hpp"
#include "commands/CommandLine.hpp"
#include "commands/EndpointRecords.hpp"
#include "commands/Output.hpp"
#include "commands/Signals.hpp"
#include "commands/publisherStates.hpp"
#include "display/ProgressDisplay.hpp"
#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// One published configuration, from its publication to its withdrawal. For one thread; requires a running host.
class Session {
 public:
  Session(const ConfigurationDescription& description, const RunOptions& options, const Signals& signals,
          Changes& changes, const Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void publish();

  /// Waits until everything is ready, stays until a signal, and withdraws. Called after `publish`.
  /// \return the process's exit code
  int run();

 private:
  int waitAndStay();
  void waitUntilDecided();
  void refresh(std::optional<std::chrono::steady_clock::time_point> deadline);
  bool isReady() const;
  int interruption() const;
  void announceReady();
  void announceAnswer(const std::string& answer);
  void stayUntilInterrupted();
  int reportFailure();
  bool withdraw();
  std::chrono::milliseconds withdrawalTimeLeft(std::chrono::steady_clock::time_point deadline);

  const ConfigurationDescription& description_;
  const RunOptions& options_;
  const Signals& signals_;
  Changes& changes_;
  const Output& output_;
  ProgressDisplay display_;
  EndpointRecords records_;
  std::optional<agent::spf::frameworkwatch::PublisherWatch> watch_;
  std::optional<PublisherStates> tracked_;
  std::optional<std::chrono::steady_clock::time_point> interruptedDeadline_;
  agent::spf::frameworksetup::SPFConfiguration configuration_;
  std::vector<PublisherState> states_;
};

}  // namespace spfctl
