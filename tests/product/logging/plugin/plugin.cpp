#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

/// Publishes a configuration and withdraws it, which writes a log record.
extern "C" [[gnu::visibility("default")]] void publishAndWithdraw() {
  agent::spf::frameworksetup::SPFConfigurationBuilder("x").build().reset();
}
