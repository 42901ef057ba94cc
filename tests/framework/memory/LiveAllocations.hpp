#pragma once

namespace frameworktest {

/// Returns how many allocations of `operator new` live in this process, on all threads. The executable defines that
/// operator itself.
long liveAllocations();

/// Lets allocations fail from now on. Not synchronised: call it before there are threads.
/// \param fails  decides about each allocation, on the thread that makes it
void letAllocationsFail(bool (*fails)() noexcept);

}  // namespace frameworktest
