#pragma once

#include <cstddef>
#include <iosfwd>

#include "commands/Changes.hpp"
#include "commands/CommandLine.hpp"
#include "commands/Signals.hpp"

namespace spfctl {

/// The streams that a run writes to.
struct Output {
  std::ostream& out;
  std::ostream& err;
  std::size_t columns;  ///< width of the terminal that `out` is; 0 if it is none
};

/// Publishes the configuration of a file, waits until it is ready, stays until a signal, and withdraws it.
/// \return the process's exit code
int run(const RunOptions& options, const Signals& signals, Changes& changes, const Output& output);

}  // namespace spfctl
