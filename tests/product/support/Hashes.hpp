#pragma once

namespace spf::test {

/// How often the calling thread has hashed a text for the standard library's containers so far. The test
/// executable defines that library's function for it itself, counts, and passes the call on.
int hashesFromThisThread();

}  // namespace spf::test
