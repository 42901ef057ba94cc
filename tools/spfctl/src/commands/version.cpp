#include "commands/version.hpp"

namespace spfctl {

const char* version() {
  return SPFCTL_VERSION;
}

}  // namespace spfctl
