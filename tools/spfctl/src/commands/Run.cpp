#include "commands/Run.hpp"

#include <exception>
#include <ostream>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/host.hpp"
#include "agent/spf/frameworksetup/setupFramework.hpp"
#include "commands/ExitCode.hpp"
#include "commands/LogOutput.hpp"
#include "commands/Session.hpp"
#include "commands/loadConfiguration.hpp"
#include "display/terminalText.hpp"

namespace spfctl {

namespace {

std::size_t bundleCount() {
  return agent::host::services::getFramework()->GetBundleContext().GetBundles().size();
}

int runWithHost(const ConfigurationDescription& description, const RunOptions& options, const Signals& signals,
                Changes& changes, const Output& output) {
  agent::host::services::HostOptions hostOptions;
  hostOptions.installationRoot = options.root;
  const agent::host::services::Host host(std::move(hostOptions));
  const auto bundlesOfHost = bundleCount();
  if (options.setup) {
    agent::spf::frameworksetup::setupFramework();
  }
  Session session(description, options, signals, changes, output);
  session.publish();
  if (bundleCount() == bundlesOfHost) {
    // Not an error: the framework's services may be registered in some other way. But a mistyped root looks like this.
    output.err << "spfctl: warning: no bundle of the framework in "
               << escaped((host.installationRoot() / "bin/win64/spf").native()) << std::endl;
  }
  return session.run();
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
    output.err << "spfctl: " << escaped(error.what()) << std::endl;
    return signals.received() != 0 ? 128 + signals.received() : static_cast<int>(ExitCode::failedAtRunTime);
  }
}

}  // namespace spfctl
