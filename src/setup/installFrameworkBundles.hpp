#pragma once

namespace agent::spf::frameworksetup {

/// Installs and starts the bundles of the framework's seven directories, in their fixed order.
///
/// Every call does all of it again; the host treats bundles that are there already as such. What the
/// host throws comes out unchanged, and the directories after that one are left alone.
void installFrameworkBundles();

}  // namespace agent::spf::frameworksetup
