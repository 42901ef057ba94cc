#pragma once

#include <stdexcept>

namespace spfctl {

/// A control folder, a control socket or a host cannot be used. The message names it and says why.
class ControlError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace spfctl
