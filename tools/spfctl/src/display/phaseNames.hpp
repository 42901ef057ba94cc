#pragma once

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"

namespace spfctl {

/// Returns the word for an endpoint's phase, as it is printed.
inline const char* phaseName(agent::spf::frameworkinterfaces::EndpointState::Phase phase) {
  using Phase = agent::spf::frameworkinterfaces::EndpointState::Phase;
  switch (phase) {
    case Phase::unresolved:
      return "unresolved";
    case Phase::opening:
      return "opening";
    case Phase::lost:
      return "lost";
    case Phase::refused:
      return "refused";
    default:
      return "up";
  }
}

}  // namespace spfctl
