#include "commands/Session.hpp"

#include <algorithm>
#include <csignal>
#include <ostream>
#include <sstream>
#include <utility>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/BundleVersion.h>
#include <cppmicroservices/Framework.h>
#include <nlohmann/json.hpp>

#include "agent/host/services.hpp"
#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "commands/Asking.hpp"
#include "commands/ExitCode.hpp"
#include "commands/keyOptions.hpp"
#include "commands/loadConfiguration.hpp"
#include "control/answers.hpp"
#include "display/publisherLines.hpp"
#include "display/terminalText.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using cppmicroservices::Bundle;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds withdrawalLimit = std::chrono::seconds(10);
constexpr milliseconds withdrawalLimitWhenInterrupted = std::chrono::seconds(3);
constexpr milliseconds answerLimit = std::chrono::seconds(2);
constexpr milliseconds allAnswersLimit = std::chrono::seconds(10);

// The library's own listener may see an event after the tool's, so the library is asked again after this time.
constexpr milliseconds refreshInterval{50};

// How often the tool looks at its terminal or pipe, and at the bundles, while nothing changes.
constexpr milliseconds clockInterval = std::chrono::seconds(1);

const char* nameOf(Bundle::State state) {
  switch (state) {
    case Bundle::STATE_ACTIVE:
      return "active";
    case Bundle::STATE_STARTING:
      return "starting";
    case Bundle::STATE_STOPPING:
      return "stopping";
    case Bundle::STATE_RESOLVED:
      return "resolved";
    case Bundle::STATE_UNINSTALLED:
      return "uninstalled";
    default:
      return "installed";
  }
}

nlohmann::ordered_json toJson(const ChangeOutcome& outcome, const LiveConfiguration& live) {
  auto answer = outcome.code == ExitCode::done ? success() : failure(outcome.code, outcome.error);
  answer["id"] = live.id();
  answer["revision"] = live.revision();
  answer["messages"] = outcome.messages;
  answer["recovery"] = outcome.recovery;
  return answer;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

Session::Session(SharedSource source, const RunOptions& options, const SessionPorts& ports, const Output& output)
    : options_(options),
      ports_(ports),
      output_(output),
      display_(output.out, {output.terminalSize, output.timeStamp, output.isColoured, options.quiet}),
      live_(std::move(source), ports.changes, ports.recorder) {
  if (const auto interval = ports_.manager.watchdogInterval()) {
    watchdog_.emplace(
        agent::host::services::getFramework()->GetBundleContext(), *interval,
        [&manager = ports_.manager] { manager.alive(); }, ports_.changes);
  }
}

void Session::publish() {
  live_.publish();
  warnOfUnknownPublishers();
}

void Session::warnOfUnknownPublishers() {
  std::ostringstream warnings;
  spfctl::warnOfUnknownPublishers(options_.framework, live_.source()->description, warnings);
  if (!warnings.str().empty()) {
    output_.err << warnings.str() << std::flush;
    display_.startNewBlock();
  }
}

int Session::run() {
  if (!options_.quiet && output_.isErrorOnTerminal && output_.terminalSize()) {
    log_.emplace([&changes = ports_.changes] { changes.note(); });
  }
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
  waitUntilDecided(options_.timeout);
  if (ports_.requests.isWithdrawalRequested() && interruption() == 0) {
    return static_cast<int>(ExitCode::done);
  }
  if (!isReady() || interruption() != 0) {
    return reportFailure();
  }
  announceReady();
  stayUntilEnd();
  return static_cast<int>(ExitCode::done);
}

bool Session::isReady() const {
  return std::all_of(states_.begin(), states_.end(), [](const PublisherState& state) { return state.ready(); });
}

// Returns the signal that ends the run, or 0. Output that nobody reads any more is like SIGPIPE, which would end the
// process without a withdrawal.
int Session::interruption() const {
  const auto signal = ports_.signals.received();
  return signal == 0 && (!output_.out.good() || output_.isAbandoned()) ? SIGPIPE : signal;
}

bool Session::isEnding() const {
  return interruption() != 0 || ports_.requests.isWithdrawalRequested();
}

// Blocks until every publisher is ready or has failed, the time is up, or the host is to end.
void Session::waitUntilDecided(milliseconds timeout) {
  const auto deadline = deadlineAfter(timeout);
  for (;;) {
    const auto seen = ports_.changes.count();
    refresh(deadline);
    const bool isPending =
        std::any_of(states_.begin(), states_.end(), [](const PublisherState& state) { return state.isPending(); });
    if (!isPending || isEnding() || steady_clock::now() >= deadline) {
      return;
    }
    waitFor(seen, std::min(deadline, deadlineAfter(refreshInterval)));
  }
}

void Session::waitFor(unsigned long seen, steady_clock::time_point deadline) {
  proveLife();
  ports_.changes.waitForMoreThan(seen, watchdog_ ? std::min(deadline, watchdog_->nextDeadline()) : deadline);
}

void Session::proveLife() {
  if (watchdog_) {
    watchdog_->update(steady_clock::now());
  }
}

void Session::refresh(std::optional<steady_clock::time_point> deadline) {
  states_ = live_.states();
  writeLog();
  display_.show(states_, {steady_clock::now(), deadline});
  postStatus(state());
}

// Log records take the place of the block, which is drawn below them then.
void Session::writeLog() {
  const auto lines = log_ ? log_->take() : std::vector<std::string>();
  if (lines.empty()) {
    return;
  }
  display_.erase();
  for (const auto& line : lines) {
    output_.err << line << std::endl;
  }
}

HostStatus::State Session::state() const {
  const auto isAny = [this](bool (PublisherState::*is)() const) {
    return std::any_of(states_.begin(), states_.end(), [is](const PublisherState& state) { return (state.*is)(); });
  };
  if (isChanging_ && !isReady()) {
    return HostStatus::State::waiting;  // what fails may be taken back
  }
  if (live_.isLost()) {
    return HostStatus::State::lost;
  }
  if (isAny(&PublisherState::failed)) {
    return HostStatus::State::failed;
  }
  return isAny(&PublisherState::isPending) ? HostStatus::State::waiting : HostStatus::State::ready;
}

void Session::postStatus(HostStatus::State state) {
  for (const auto& publisher : states_) {
    if (publisher.failed()) {
      lastError_ = publisher.id + ": " + publisher.error;
    }
  }
  readBundles();
  ports_.board.set({state, live_.id(), live_.revision(), live_.publishedAt(), live_.source(), states_,
                    live_.endpoints(), lastError_, bundles_, steady_clock::now()});
  ports_.onStatus();
  if (ports_.manager.isPresent()) {
    ports_.manager.status(summary(state));
  }
}

// One line for the service manager: the state, and what is outstanding.
std::string Session::summary(HostStatus::State state) const {
  std::string text = spfctl::nameOf(state);
  for (const auto& publisher : states_) {
    if (state != HostStatus::State::withdrawing && !publisher.ready()) {
      text += "; " + publisher.id + ": " + describe(publisher);
    }
  }
  if (watchdog_) {
    for (const auto& component : watchdog_->unanswered()) {
      text += "; no sign of life from " + component;
    }
  }
  return text;
}

void Session::readBundles() {
  const auto now = steady_clock::now();
  if (!bundles_.empty() && now - bundlesRead_ < clockInterval) {
    return;
  }
  bundlesRead_ = now;
  bundles_.clear();
  for (const auto& bundle : agent::host::services::getFramework()->GetBundleContext().GetBundles()) {
    bundles_.push_back(
        {bundle.GetSymbolicName(), bundle.GetVersion().ToString(), nameOf(bundle.GetState()), bundle.GetLocation()});
  }
}

void Session::announceReady() {
  refresh(std::nullopt);
  ports_.manager.ready();
  output_.out << "ready: " << escaped(live_.id()) << std::endl;
  const auto deadline = deadlineAfter(allAnswersLimit);
  for (const auto& publisher : live_.source()->description.servicePublishers) {
    for (const auto& endpoint : publisher.endpointsToConnectTo) {
      const auto* const text = cppmicroservices::any_cast<std::string>(&endpoint);
      proveLife();
      const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
      const bool isAsked = text != nullptr && left > milliseconds::zero() && !isEnding();
      const auto result = isAsked ? askPeer(publisher.uniqueID, *text, std::min(answerLimit, left)) : AskResult();
      if (!result.text.empty()) {
        output_.out << escaped(result.text) << std::endl;
      }
    }
  }
  display_.startNewBlock();
}

// Shows connections that are lost and regained, and carries out what clients want.
void Session::stayUntilEnd() {
  while (!options_.once && !isEnding()) {
    const auto seen = ports_.changes.count();
    if (const auto request = ports_.requests.next()) {
      apply(*request);
    } else if (ports_.signals.reloads() != reloads_) {
      reloads_ = ports_.signals.reloads();
      reload();
    } else {
      refresh(std::nullopt);
      // Time passes on a terminal, and the reader of a pipe may go away without a word.
      waitFor(seen, deadlineAfter(clockInterval));
    }
  }
}

// Prints why the publishers are not ready and returns the exit code for it.
int Session::reportFailure() const {
  for (const auto& message : failureMessages()) {
    output_.err << "spfctl: " << escaped(message) << std::endl;
  }
  return interruption() != 0 ? 128 + interruption() : static_cast<int>(failureCode());
}

ExitCode Session::failureCode() const {
  const bool isRefused =
      std::any_of(states_.begin(), states_.end(), [](const PublisherState& state) { return state.failed(); });
  return isRefused ? ExitCode::refusedByFramework : ExitCode::notReadyInTime;
}

std::vector<std::string> Session::failureMessages() const {
  std::vector<std::string> messages;
  for (const auto& state : states_) {
    if (state.failed()) {
      messages.push_back("refused by the framework: " + state.id + ": " + describe(state));
    } else if (!state.ready()) {
      const auto add = [&](const std::string& what) { messages.push_back("not ready: " + state.id + ": " + what); };
      add(describe(state));
      add(progressOf(state, steady_clock::now()));
      for (const auto& endpoint : state.outstanding) {
        if (!endpoint.phase.empty()) {
          add(describe(endpoint));
        }
      }
    }
  }
  return messages;
}

void Session::apply(const ApplyRequest& request) {
  const auto outcome = change(request.file, SourceText(request.file, request.text), request.timeout, request.rollback);
  request.reply->finish(toJson(outcome, live_));
}

void Session::reload() {
  const auto file = live_.source()->file;
  ChangeOutcome outcome;
  if (file == "-") {
    outcome.error = "cannot reload: the configuration was read from standard input";
  } else {
    try {
      outcome = change(file, readSource(file), options_.timeout, false);
    } catch (const FileError& error) {
      outcome.error = std::string("cannot reload: ") + error.what();
    }
  }
  auto messages = outcome.messages;
  if (!outcome.error.empty()) {
    messages.insert(messages.begin(), outcome.error);
  }
  for (const auto& message : messages) {
    output_.err << "spfctl: " << escaped(message) << std::endl;
  }
  if (!messages.empty()) {
    display_.startNewBlock();
  }
}

// Replaces the configuration and waits until that is decided.
ChangeOutcome Session::change(const std::string& file, SourceText text, milliseconds timeout, bool rollback) {
  ChangeOutcome outcome;
  std::ostringstream findings;
  const auto source = checkedSource(file, std::move(text), findings);
  if (!source) {
    outcome = {ExitCode::invalidConfiguration, "'" + file + "' has errors", linesOf(findings.str()), ""};
  } else if (const auto& id = source->description.configurationID; !id.empty() && id != live_.id()) {
    outcome = {ExitCode::invalidConfiguration,
               "'" + file + "' has the configurationID '" + id + "'; expected '" + live_.id() + "' or none",
               {},
               ""};
  } else {
    ports_.manager.reloading();
    isChanging_ = true;
    changeTo(source, timeout, rollback, outcome);
    isChanging_ = false;
    ports_.manager.ready();
  }
  if (!outcome.error.empty()) {
    lastError_ = outcome.error;
  }
  refresh(std::nullopt);
  return outcome;
}

void Session::changeTo(const SharedSource& source, milliseconds timeout, bool rollback, ChangeOutcome& outcome) {
  const auto before = live_.source();
  try {
    if (live_.isLost()) {
      live_.republish([this] { proveLife(); });
    }
    live_.modify(source);
  } catch (const std::exception& error) {
    recover(error, timeout, outcome);
    return;
  }
  warnOfUnknownPublishers();
  waitUntilDecided(timeout);
  if (isReady()) {
    output_.out << "ready: " << escaped(live_.id()) << ", revision " << live_.revision() << std::endl;
    display_.startNewBlock();
    return;
  }
  outcome.messages = failureMessages();
  if (isEnding()) {
    outcome.code = ExitCode::failedAtRunTime;
    outcome.error = "the host is ending";
    return;
  }
  outcome.code = failureCode();
  outcome.error =
      "revision " + std::to_string(live_.revision()) +
      (outcome.code == ExitCode::refusedByFramework ? " was refused by the framework" : " is not ready in time");
  if (rollback) {
    rollBack(before, timeout, outcome);
  }
}

void Session::rollBack(const SharedSource& before, milliseconds timeout, ChangeOutcome& outcome) {
  try {
    live_.modify(before);
  } catch (const std::exception& error) {
    recover(error, timeout, outcome);
    return;
  }
  waitUntilDecided(timeout);
  outcome.recovery = "rolled back: revision " + std::to_string(live_.revision()) + " has the old content, " +
                     (isReady() ? "ready" : "not ready");
  output_.out << escaped(outcome.recovery) << std::endl;
  display_.startNewBlock();
}

// A failed publication may have cost the configuration's ID; its old content is published again then.
void Session::recover(const std::exception& error, milliseconds timeout, ChangeOutcome& outcome) {
  outcome.code = ExitCode::failedAtRunTime;
  outcome.error = std::string("the configuration cannot be published: ") + error.what();
  lastError_ = outcome.error;
  if (!live_.isLost()) {
    return;
  }
  try {
    live_.republish([this] { proveLife(); });
    waitUntilDecided(timeout);
    outcome.recovery = "published the old content again, as revision " + std::to_string(live_.revision()) +
                       (isReady() ? ", ready" : ", not ready") + "; connections may have been closed";
  } catch (const std::exception& again) {
    outcome.recovery = std::string("the old content cannot be published either: ") + again.what();
  }
}

// Returns whether every publisher has unpublished its services in time; prints those that have not.
bool Session::withdraw() {
  const auto deadline = deadlineAfter(withdrawalLimit);
  ports_.manager.stopping();
  display_.startNewBlock();
  log_.reset();  // nothing is drawn any more
  const bool mayBeWithdrawn = live_.withdraw();
  postStatus(HostStatus::State::withdrawing);
  if (!mayBeWithdrawn) {
    output_.err << "spfctl: the lost configuration cannot be withdrawn; it ends with the host" << std::endl;
    return false;
  }
  for (;;) {
    const auto seen = ports_.changes.count();
    const auto remainder = live_.remainder();
    if (remainder.isDone) {
      output_.out << "withdrawn" << std::endl;
      isWithdrawn_ = true;
      return true;
    }
    const auto left = withdrawalTimeLeft(deadline);
    if (left <= milliseconds::zero()) {
      for (const auto& id : remainder.publishers) {
        output_.err << "spfctl: not unpublished in time: " << escaped(id) << std::endl;
      }
      return false;
    }
    // No event marks the end of the limit of silence, so it is polled.
    waitFor(seen, deadlineAfter(remainder.publishers.empty() ? std::min(left, refreshInterval) : left));
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
