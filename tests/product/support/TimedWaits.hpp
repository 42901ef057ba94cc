#pragma once

namespace spf::test {

/// How many waits with a limit on a condition the calling thread has begun so far. The test executable
/// defines the C library's functions for them itself, counts, and passes the calls on.
int timedWaitsFromThisThread();

}  // namespace spf::test
