#pragma once

namespace agent::spf::frameworksetup {

/// The one name of a service publisher that selects the legacy publisher's factory.
inline constexpr const char* legacyServicePublisherName = "legacyservicepublisher";

}  // namespace agent::spf::frameworksetup
