#include "commands/Run.hpp"

#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/host.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "commands/ExitCode.hpp"
#include "commands/LogOutput.hpp"
#include "commands/Session.hpp"
#include "commands/frameworkOptions.hpp"
#include "commands/loadConfiguration.hpp"
#include "control/ControlError.hpp"
#include "control/ControlServer.hpp"
#include "control/HostControl.hpp"
#include "display/terminalText.hpp"
#include "events/RecordingFile.hpp"

namespace spfctl {

namespace {

std::size_t bundleCount() {
  return agent::host::services::getFramework()->GetBundleContext().GetBundles().size();
}

/// One run, from the host's start to its end.
class Running {
 public:
  Running(SharedSource source, std::map<std::string, cppmicroservices::Any> properties, const RunOptions& options,
          const Signals& signals, Changes& changes, const Output& output)
      : source_(std::move(source)),
        properties_(std::move(properties)),
        options_(options),
        signals_(signals),
        changes_(changes),
        output_(output) {}

  int run() {
    const auto server = makeServer();
    return runHost(server.get());
  }

 private:
  // Returns the name under which clients find the host; empty if they cannot.
  std::string hostName() const {
    if (!options_.control) {
      return {};
    }
    auto name = options_.name.empty() ? source_->description.configurationID : options_.name;
    if (!isHostName(name)) {
      output_.err
          << "spfctl: warning: no control socket: the configurationID " << (name.empty() ? "is empty" : "is no name")
          << "; expected --name, or an ID of 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning"
          << std::endl;
      return {};
    }
    return name;
  }

  ControlFolder controlFolder() const {
    try {
      return {options_.controlDir, ControlFolder::Purpose::serve};
    } catch (const ControlError& error) {
      throw ControlError(std::string(error.what()) + "; --control-dir names another folder, --no-control needs none");
    }
  }

  // Before anything is published: two hosts of one name would be a mistake.
  std::unique_ptr<ControlServer> makeServer() {
    name_ = hostName();
    return name_.empty() ? nullptr : std::make_unique<ControlServer>(controlFolder(), name_);
  }

  int runHost(ControlServer* server) {
    agent::host::services::HostOptions hostOptions;
    hostOptions.installationRoot = options_.root;
    hostOptions.frameworkProperties = {properties_.begin(), properties_.end()};
    const agent::host::services::Host host(std::move(hostOptions));
    EventRecorder recorder(agent::host::services::getFramework()->GetBundleContext());
    ChangeRequests requests(changes_);
    StatusBoard board;
    HostControl control(name_, board, recorder, requests, showLogRecords);
    ServiceManager manager;
    Session session(source_, options_,
                    {signals_, changes_, recorder, requests, board, manager, [&] { control.noteStatus(); }}, output_);
    const auto recording =
        options_.record.empty() ? nullptr : std::make_unique<RecordingFile>(recorder, options_.record, output_.err);
    if (server != nullptr) {
      server->start(
          [&](const nlohmann::json& request, const std::shared_ptr<Reply>& reply) { control.handle(request, reply); });
    }
    // The server calls into what is destroyed at the end of this function.
    const auto stop = [&](bool isWithdrawn) {
      requests.close(isWithdrawn);
      control.close();
      if (server != nullptr) {
        server->stop();
      }
    };
    try {
      const int code = publishAndStay(session, host);
      stop(session.isWithdrawn());
      return code;
    } catch (...) {
      stop(session.isWithdrawn());
      throw;
    }
  }

  int publishAndStay(Session& session, const agent::host::services::Host& host) {
    const auto bundlesOfHost = bundleCount();
    if (options_.setup) {
      agent::spf::frameworksetup::setupFramework();
    }
    session.publish();
    if (bundleCount() == bundlesOfHost) {
      // Not an error: the framework's services may be registered in some other way. But a mistyped root looks like
      // this.
      output_.err << "spfctl: warning: no bundle of the framework in "
                  << escaped((host.installationRoot() / "bin/win64/spf").native()) << std::endl;
    }
    return session.run();
  }

  const SharedSource source_;
  const std::map<std::string, cppmicroservices::Any> properties_;
  const RunOptions& options_;
  const Signals& signals_;
  Changes& changes_;
  const Output& output_;
  std::string name_;
};

}  // namespace

int run(const RunOptions& options, const Signals& signals, Changes& changes, const Output& output) {
  showLogRecords(options.logLevels);
  try {
    auto source = loadSource(options.file, output.err);
    auto properties = frameworkProperties(options.framework, output.err);
    if (!source || !properties) {
      return static_cast<int>(ExitCode::invalidConfiguration);
    }
    return Running(std::move(source), std::move(*properties), options, signals, changes, output).run();
  } catch (const std::exception& error) {
    output.err << "spfctl: " << escaped(error.what()) << std::endl;
    return signals.received() != 0 ? 128 + signals.received() : static_cast<int>(ExitCode::failedAtRunTime);
  }
}

}  // namespace spfctl
