#pragma once

#include <string>

namespace spf::soak {

/// What must not happen, whatever fails. No std::exception, so that nothing takes it for a failure that was caused.
struct Violation {
  std::string text;
};

inline void require(bool holds, const std::string& text) {
  if (!holds) {
    throw Violation{text};
  }
}

}  // namespace spf::soak
