#pragma once

namespace agent::spf::frameworksetup {

/// Brings the framework's own machinery up: installs and starts the framework's bundles and
/// publishes the built-in configuration "LegacySetupFramework", whose one publisher (of that ID too)
/// reaches for the framework's discovery services.
///
/// Returns when Configuration Admin has been handed the configuration; it does not wait for the
/// framework. The configuration stays for the life of the process. Every call does all of it again.
/// Without a framework or Configuration Admin nothing is published and nothing is thrown. Any thread
/// may call it, also at the same time.
///
/// \throws whatever installing the bundles or Configuration Admin throws; bundles that were installed
///         by then stay
[[gnu::visibility("default")]] void setupFramework();

}  // namespace agent::spf::frameworksetup
