#pragma once

namespace frameworktest {

/// Returns how many allocations of `operator new` live in this process, on all threads. The executable defines that
/// operator itself.
long liveAllocations();

}  // namespace frameworktest
