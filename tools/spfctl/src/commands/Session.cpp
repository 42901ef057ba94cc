#include "commands/Session.hpp"

#include <algorithm>
#include <csignal>
#include <ostream>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "commands/Asking.hpp"
#include "commands/ExitCode.hpp"
#include "display/publisherLines.hpp"
#include "display/terminalText.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds withdrawalLimit = std::chrono::seconds(10);
constexpr milliseconds withdrawalLimitWhenInterrupted = std::chrono::seconds(3);
constexpr milliseconds answerLimit = std::chrono::seconds(2);

// The library's own listener may see an event after the tool's, so the library is asked again after this time.
constexpr milliseconds refreshInterval{50};

// How often the tool looks at its terminal or pipe while nothing changes.
constexpr milliseconds clockInterval = std::chrono::seconds(1);

std::vector<std::string> publisherIDs(const ConfigurationDescription& description) {
  std::vector<std::string> ids;
  for (const auto& publisher : description.servicePublishers) {
    ids.push_back(publisher.uniqueID);
  }
  return ids;
}

DisplayOptions displayOptions(const RunOptions& options, const Output& output) {
  DisplayOptions display{output.terminalSize, output.timeStamp, output.isColoured, options.quiet};
  if (options.logLevels != 0) {
    // Log records would be written into the block.
    display.terminalSize = [] { return std::nullopt; };
    display.isColoured = false;
  }
  return display;
}

}  // namespace

Session::Session(const ConfigurationDescription& description, const RunOptions& options, const Signals& signals,
                 Changes& changes, const Output& output)
    : description_(description),
      options_(options),
      signals_(signals),
      changes_(changes),
      output_(output),
      display_(output.out, displayOptions(options, output)),
      records_(changes) {}

void Session::publish() {
  const std::uint32_t first = 1;
  watch_.emplace(agent::host::services::getFramework()->GetBundleContext(), publisherIDs(description_), first,
                 [&changes = changes_] { changes.note(); });
  tracked_.emplace(description_, steady_clock::now());
  configuration_ = toBuilder(description_).build();
}

int Session::run() {
  int code = 0;
  try {
    code = waitAndStay();
  } catch (...) {
    withdraw();
    throw;
  }
  return withdraw() || code != 0 ? code : static_cast<int>(ExitCode::failedAtRunTime);
}

int Session::waitAndStay() {
  waitUntilDecided();
  if (!isReady() || interruption() != 0) {
    return reportFailure();
  }
  announceReady();
  stayUntilInterrupted();
  return static_cast<int>(ExitCode::done);
}

bool Session::isReady() const {
  return std::all_of(states_.begin(), states_.end(), [](const PublisherState& state) { return state.ready(); });
}

// Returns the signal that ends the run, or 0. Output that nobody reads any more is like SIGPIPE, which would end the
// process without a withdrawal.
int Session::interruption() const {
  const auto signal = signals_.received();
  return signal == 0 && (!output_.out.good() || output_.isAbandoned()) ? SIGPIPE : signal;
}

// Blocks until every publisher is ready or has failed, the time is up, or a signal arrived.
void Session::waitUntilDecided() {
  const auto deadline = deadlineAfter(options_.timeout);
  for (;;) {
    const auto seen = changes_.count();
    refresh(deadline);
    const bool isPending =
        std::any_of(states_.begin(), states_.end(), [](const PublisherState& state) { return state.isPending(); });
    if (!isPending || interruption() != 0 || steady_clock::now() >= deadline) {
      return;
    }
    changes_.waitForMoreThan(seen, std::min(deadline, deadlineAfter(refreshInterval)));
  }
}

void Session::refresh(std::optional<steady_clock::time_point> deadline) {
  const auto now = steady_clock::now();
  states_ = tracked_->update(configuration_, records_.list(), now);
  display_.show(states_, {now, deadline});
}

void Session::announceReady() {
  refresh(std::nullopt);
  output_.out << "ready: " << escaped(configuration_.getConfigurationID()) << std::endl;
  for (const auto& publisher : description_.servicePublishers) {
    for (const auto& endpoint : publisher.endpointsToConnectTo) {
      const auto* const text = cppmicroservices::any_cast<std::string>(&endpoint);
      if (text != nullptr && interruption() == 0) {
        announceAnswer(askPeer(publisher.uniqueID, *text, answerLimit));
      }
    }
  }
  display_.startNewBlock();
}

void Session::announceAnswer(const std::string& answer) {
  if (!answer.empty()) {
    output_.out << escaped(answer) << std::endl;
  }
}

// Shows connections that are lost and regained.
void Session::stayUntilInterrupted() {
  while (!options_.once && interruption() == 0) {
    const auto seen = changes_.count();
    refresh(std::nullopt);
    // Time passes on a terminal, and the reader of a pipe may go away without a word.
    changes_.waitForMoreThan(seen, deadlineAfter(clockInterval));
  }
}

// Prints why the publishers are not ready and returns the exit code for it.
int Session::reportFailure() {
  bool failed = false;
  for (const auto& state : states_) {
    failed = failed || state.failed();
    if (state.ready()) {
      continue;
    }
    const auto* const what = state.failed() ? "refused by the framework: " : "not ready: ";
    output_.err << "spfctl: " << what << escaped(state.id + ": " + describe(state)) << std::endl;
    if (!state.failed()) {
      output_.err << "spfctl: not ready: " << escaped(state.id + ": " + progressOf(state, steady_clock::now()))
                  << std::endl;
    }
    for (const auto& endpoint : state.outstanding) {
      if (!state.failed() && !endpoint.phase.empty()) {
        output_.err << "spfctl: not ready: " << escaped(state.id + ": " + describe(endpoint)) << std::endl;
      }
    }
  }
  if (interruption() != 0) {
    return 128 + interruption();
  }
  return static_cast<int>(failed ? ExitCode::refusedByFramework : ExitCode::notReadyInTime);
}

// Returns whether every publisher has unpublished its services in time; prints those that have not.
bool Session::withdraw() {
  const auto deadline = deadlineAfter(withdrawalLimit);
  configuration_.reset();
  for (;;) {
    const auto seen = changes_.count();
    const auto result = watch_->waitUntilAllUnpublished(milliseconds::zero());
    if (result) {
      output_.out << "withdrawn" << std::endl;
      return true;
    }
    const auto left = withdrawalTimeLeft(deadline);
    if (left <= milliseconds::zero()) {
      for (const auto& id : result.outstanding) {
        output_.err << "spfctl: not unpublished in time: " << escaped(id) << std::endl;
      }
      return false;
    }
    // No event marks the end of the limit of silence, so it is polled.
    changes_.waitForMoreThan(seen, deadlineAfter(result.outstanding.empty() ? std::min(left, refreshInterval) : left));
  }
}

// A signal shortens the time.
milliseconds Session::withdrawalTimeLeft(steady_clock::time_point deadline) {
  if (interruption() != 0 && !interruptedDeadline_) {
    interruptedDeadline_ = deadlineAfter(withdrawalLimitWhenInterrupted);
  }
  const auto limit = interruptedDeadline_ ? std::min(deadline, *interruptedDeadline_) : deadline;
  return std::chrono::ceil<milliseconds>(limit - steady_clock::now());
}

}  // namespace spfctl
