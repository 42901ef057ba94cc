#pragma once

namespace agent::spf::frameworksetup {

/// Brings up the framework's own machinery: installs and starts the framework's bundles and publishes
/// the built-in configuration "LegacySetupFramework", whose one publisher, which has that ID as well,
/// connects to the framework's discovery services.
///
/// Returns when Configuration Admin has been handed the configuration; it does not wait for the
/// framework. The configuration stays for the life of the process. Every call repeats all of it.
/// Without a framework or Configuration Admin nothing is published and nothing is thrown. Any thread
/// may call it, also at the same time.
///
/// \throws whatever installing the bundles or Configuration Admin throws; bundles that were installed
///         by then stay
[[gnu::visibility("default")]] void setupFramework();

}  // namespace agent::spf::frameworksetup
