#pragma once

#include <chrono>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "commands/ChangeOutcome.hpp"
#include "commands/Changes.hpp"
#include "commands/CommandLine.hpp"
#include "commands/LiveConfiguration.hpp"
#include "commands/LogOutput.hpp"
#include "commands/Output.hpp"
#include "commands/Signals.hpp"
#include "control/ChangeRequests.hpp"
#include "control/HostStatus.hpp"
#include "display/ProgressDisplay.hpp"
#include "events/EventRecorder.hpp"
#include "file/ConfigurationSource.hpp"
#include "file/SourceText.hpp"
#include "supervision/ServiceManager.hpp"
#include "supervision/Watchdog.hpp"

namespace spfctl {

/// What a session shares with other threads of its host.
struct SessionPorts {
  const Signals& signals;
  Changes& changes;
  EventRecorder& recorder;
  ChangeRequests& requests;
  StatusBoard& board;
  ServiceManager& manager;

  /// Called after each change of the board.
  std::function<void()> onStatus = [] {};
};

/// One published configuration, from its publication to its withdrawal. For one thread; requires a running host.
class Session {
 public:
  Session(SharedSource source, const RunOptions& options, const SessionPorts& ports, const Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void publish();

  /// Waits until everything is ready, stays until a signal or a client's request, and withdraws. Called after
  /// `publish`. \return the process's exit code
  int run();

  /// Returns whether the withdrawal has succeeded; called after `run`.
  bool isWithdrawn() const { return isWithdrawn_; }

 private:
  int waitAndStay();
  void waitUntilDecided(std::chrono::milliseconds timeout);
  void refresh(std::optional<std::chrono::steady_clock::time_point> deadline);
  void writeLog();
  void postStatus(HostStatus::State state);
  void proveLife();
  std::string summary(HostStatus::State state) const;
  void readBundles();
  HostStatus::State state() const;
  bool isReady() const;
  bool isEnding() const;
  int interruption() const;
  void announceReady();
  void stayUntilEnd();
  int reportFailure() const;
  ExitCode failureCode() const;
  std::vector<std::string> failureMessages() const;
  void waitFor(unsigned long seen, std::chrono::steady_clock::time_point deadline);
  void apply(const ApplyRequest& request);
  void reload();
  ChangeOutcome change(const std::string& file, SourceText text, std::chrono::milliseconds timeout, bool rollback);
  void changeTo(const SharedSource& source, std::chrono::milliseconds timeout, bool rollback, ChangeOutcome& outcome);
  void warnOfUnknownPublishers();
  void rollBack(const SharedSource& before, std::chrono::milliseconds timeout, ChangeOutcome& outcome);
  void recover(const std::exception& error, std::chrono::milliseconds timeout, ChangeOutcome& outcome);
  bool withdraw();
  std::chrono::milliseconds withdrawalTimeLeft(std::chrono::steady_clock::time_point deadline);

  const RunOptions& options_;
  const SessionPorts ports_;
  const Output& output_;
  ProgressDisplay display_;
  std::optional<HeldLogRecords> log_;  ///< while there is a block that they could be written into
  LiveConfiguration live_;
  std::optional<Watchdog> watchdog_;
  std::optional<std::chrono::steady_clock::time_point> interruptedDeadline_;
  std::vector<PublisherState> states_;
  std::string lastError_;
  std::vector<BundleStatus> bundles_;
  std::chrono::steady_clock::time_point bundlesRead_;
  bool isChanging_ = false;  ///< between the begin and the end of `change`
  bool isWithdrawn_ = false;
  unsigned reloads_ = 0;  ///< how many requests to reload were carried out
};

}  // namespace spfctl
