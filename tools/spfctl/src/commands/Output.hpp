#pragma once

#include <cstddef>
#include <iosfwd>

namespace spfctl {

/// The streams that a command writes to: data to `out`, messages to `err`.
struct Output {
  std::ostream& out;
  std::ostream& err;
  std::size_t columns;  ///< width of the terminal that `out` is; 0 if it is none
};

}  // namespace spfctl
