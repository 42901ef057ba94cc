#include "commands/Run.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/host/host.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "commands/Asking.hpp"
#include "commands/EventWatcher.hpp"
#include "commands/ExitCode.hpp"
#include "commands/LogOutput.hpp"
#include "commands/loadConfiguration.hpp"
#include "display/ProgressDisplay.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworksetup::SPFConfiguration;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds withdrawalLimit = std::chrono::seconds(10);
constexpr milliseconds withdrawalLimitWhenInterrupted = std::chrono::seconds(3);
constexpr milliseconds silenceLimit = std::chrono::seconds(1);
constexpr milliseconds answerLimit = std::chrono::seconds(2);

// The library's listener receives an event no later than this after the tool's own listener.
constexpr milliseconds refreshInterval{50};

steady_clock::time_point after(milliseconds timeout) {
  const auto now = steady_clock::now();
  const auto longest = std::chrono::duration_cast<milliseconds>(steady_clock::time_point::max() - now);
  return timeout < longest ? now + timeout : steady_clock::time_point::max();
}

std::vector<std::string> endpointTexts(const std::vector<cppmicroservices::Any>& endpoints) {
  std::vector<std::string> texts;
  texts.reserve(endpoints.size());
  for (const auto& endpoint : endpoints) {
    texts.push_back(endpointText(endpoint));
  }
  return texts;
}

std::size_t bundleCount() {
  return agent::host::services::getFramework()->GetBundleContext().GetBundles().size();
}

PublisherState stateOf(SPFConfiguration& configuration, const std::string& id) {
  PublisherState state;
  state.id = id;
  const auto [toConnect, toBind] = configuration.listOutstandingEndpoints(id);
  state.toConnect = endpointTexts(toConnect);
  state.toBind = endpointTexts(toBind);
  try {
    state.servicesPublished = configuration.waitForAllServices(milliseconds::zero(), id);
  } catch (const std::exception& error) {
    state.error = error.what();
  }
  return state;
}

// One published configuration, from its publication to its withdrawal. Requires a running host.
class Session {
 public:
  Session(const ConfigurationDescription& description, const Signals& signals, Changes& changes, const Output& output)
      : description_(description),
        signals_(signals),
        changes_(changes),
        output_(output),
        display_(output.out, output.columns) {
    for (const auto& publisher : description.servicePublishers) {
      publisherIDs_.push_back(publisher.uniqueID);
    }
    watcher_ = std::make_shared<EventWatcher>(changes, publisherIDs_);
    registration_ =
        agent::host::services::getFramework()->GetBundleContext().RegisterService<FrameworkListener>(watcher_);
  }

  ~Session() { registration_.Unregister(); }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void publish() { configuration_ = toBuilder(description_).build(); }

  /// Called after publish().
  int run(const RunOptions& options) {
    waitUntilDecided(after(options.timeout));
    const bool ready = std::all_of(states_.begin(), states_.end(), [](const auto& state) { return state.ready(); });
    int code = static_cast<int>(ExitCode::done);
    if (ready && signals_.received() == 0) {
      announceReady();
      stayUntilInterrupted(options.once);
    } else {
      code = reportFailure();
    }
    return withdraw() || code != 0 ? code : static_cast<int>(ExitCode::failedAtRunTime);
  }

 private:
  // Blocks until every publisher is ready or has failed, the time is up, or a signal arrived.
  void waitUntilDecided(steady_clock::time_point deadline) {
    for (;;) {
      const auto seen = changes_.count();
      refresh();
      const bool outstanding =
          std::any_of(states_.begin(), states_.end(), [](const auto& state) { return state.outstanding(); });
      if (!outstanding || signals_.received() != 0 || steady_clock::now() >= deadline) {
        return;
      }
      changes_.waitForMoreThan(seen, std::min(deadline, after(refreshInterval)));
    }
  }

  void refresh() {
    states_.clear();
    for (const auto& id : publisherIDs_) {
      states_.push_back(stateOf(configuration_, id));
    }
    display_.show(states_);
  }

  void announceReady() {
    output_.out << "ready: " << configuration_.getConfigurationID() << std::endl;
    for (const auto& publisher : description_.servicePublishers) {
      for (const auto& endpoint : publisher.endpointsToConnectTo) {
        const auto* const text = cppmicroservices::any_cast<std::string>(&endpoint);
        if (text != nullptr && signals_.received() == 0) {
          announceAnswer(askPeer(publisher.uniqueID, *text, answerLimit));
        }
      }
    }
  }

  void announceAnswer(const std::string& answer) {
    if (!answer.empty()) {
      output_.out << answer << std::endl;
    }
  }

  void stayUntilInterrupted(bool once) {
    for (auto seen = changes_.count(); !once && signals_.received() == 0; seen = changes_.count()) {
      changes_.waitForMoreThan(seen, steady_clock::time_point::max());
    }
  }

  // Prints why the publishers are not ready and returns the exit code for it.
  int reportFailure() {
    bool failed = false;
    for (const auto& state : states_) {
      failed = failed || state.failed();
      if (!state.ready()) {
        output_.err << "spfctl: " << (state.failed() ? "refused by the framework: " : "not ready: ") << state.id << ": "
                    << describe(state) << std::endl;
      }
    }
    if (signals_.received() != 0) {
      return 128 + signals_.received();
    }
    return static_cast<int>(failed ? ExitCode::refusedByFramework : ExitCode::notReadyInTime);
  }

  // Returns whether every publisher has unpublished its services by the deadline; prints those that have not.
  bool withdraw() {
    const auto deadline = after(withdrawalLimit);
    const auto silenceEnds = after(silenceLimit);
    configuration_.reset();
    for (auto seen = changes_.count(); !withdrawn(silenceEnds); seen = changes_.count()) {
      const auto limit = withdrawalDeadline(deadline);
      if (steady_clock::now() >= limit) {
        break;
      }
      changes_.waitForMoreThan(seen, watcher_->stillPublished().empty() ? std::min(limit, silenceEnds) : limit);
    }
    const auto outstanding = watcher_->stillPublished();
    for (const auto& id : outstanding) {
      output_.err << "spfctl: not unpublished in time: " << id << std::endl;
    }
    if (outstanding.empty()) {
      output_.out << "withdrawn" << std::endl;
    }
    return outstanding.empty();
  }

  // Publishers that report nothing never received the configuration before it was withdrawn.
  bool withdrawn(steady_clock::time_point silenceEnds) const {
    return watcher_->stillPublished().empty() && (!watcher_->someAreSilent() || steady_clock::now() >= silenceEnds);
  }

  // A signal shortens the time that is left.
  steady_clock::time_point withdrawalDeadline(steady_clock::time_point deadline) {
    if (signals_.received() != 0 && !interruptedDeadline_) {
      interruptedDeadline_ = after(withdrawalLimitWhenInterrupted);
    }
    return interruptedDeadline_ ? std::min(deadline, *interruptedDeadline_) : deadline;
  }

  const ConfigurationDescription& description_;
  const Signals& signals_;
  Changes& changes_;
  const Output& output_;
  ProgressDisplay display_;
  std::vector<std::string> publisherIDs_;
  std::shared_ptr<EventWatcher> watcher_;
  cppmicroservices::ServiceRegistration<FrameworkListener> registration_;
  std::optional<steady_clock::time_point> interruptedDeadline_;
  SPFConfiguration configuration_;
  std::vector<PublisherState> states_;
};

int runWithHost(const ConfigurationDescription& description, const RunOptions& options, const Signals& signals,
                Changes& changes, const Output& output) {
  agent::host::services::HostOptions hostOptions;
  hostOptions.installationRoot = options.root;
  const agent::host::services::Host host(std::move(hostOptions));
  const auto bundlesOfHost = bundleCount();
  if (options.setup) {
    agent::spf::frameworksetup::setupFramework();
  }
  Session session(description, signals, changes, output);
  session.publish();
  if (bundleCount() == bundlesOfHost) {
    // Not an error: the framework's services may be registered in some other way. But a mistyped root looks like this.
    output.err << "spfctl: warning: no bundle of the framework in " << host.installationRoot() / "bin/win64/spf"
               << std::endl;
  }
  return session.run(options);
}

}  // namespace

int run(const RunOptions& options, const Signals& signals, Changes& changes, const Output& output) {
  if (options.logLevels != 0) {
    showLogRecords(options.logLevels);
  }
  try {
    const auto description = loadConfiguration(options.file, output.err);
    if (!description) {
      return static_cast<int>(ExitCode::invalidConfiguration);
    }
    return runWithHost(*description, options, signals, changes, output);
  } catch (const std::exception& error) {
    output.err << "spfctl: " << error.what() << std::endl;
    return signals.received() != 0 ? 128 + signals.received() : static_cast<int>(ExitCode::failedAtRunTime);
  }
}

}  // namespace spfctl
