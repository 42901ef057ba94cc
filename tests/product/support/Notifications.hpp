#pragma once

namespace spf::test {

/// How often the calling thread has called `std::condition_variable::notify_all` so far. The test
/// executable defines that function itself, counts, and passes the call on.
int notificationsFromThisThread();

}  // namespace spf::test
