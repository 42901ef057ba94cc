#pragma once

namespace agent::spf::frameworksetup {

/// Installs and starts the bundles of the framework's seven directories, in their fixed order.
///
/// Every call repeats all of it; the host recognises bundles that are installed already. What the
/// host throws is propagated unchanged, and the directories after that one are not installed.
void installFrameworkBundles();

}  // namespace agent::spf::frameworksetup
