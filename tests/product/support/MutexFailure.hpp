#pragma once

namespace spf::test {

/// While it lives, no mutex can be locked on this thread by what is linked into the test executable:
/// the system refuses. The executable is linked so that its locking comes here first.
class MutexFailure {
 public:
  MutexFailure();
  ~MutexFailure();
  MutexFailure(const MutexFailure&) = delete;
  MutexFailure& operator=(const MutexFailure&) = delete;
};

}  // namespace spf::test
