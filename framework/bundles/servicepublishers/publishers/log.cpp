#include "log.hpp"

#include "agent/spf/frameworksupport/logWarning.hpp"

namespace spf::publishers {

void logWarning(const std::string& text) noexcept {
  agent::spf::frameworksupport::logWarning("spf::publishers", text);
}

}  // namespace spf::publishers
