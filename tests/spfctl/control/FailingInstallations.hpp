#pragma once

namespace spf::test {

/// Lets the library's next installations of bundle directories throw. The test executable's function takes the place
/// of the host library's, which it calls otherwise.
void failInstallations(int number);

}  // namespace spf::test
