#pragma once

#include <functional>

namespace spf::test {

/// While it lives, runs an action before each of the calls that the library makes of the runtime's
/// service registry on this thread: "GetServiceReferences", "GetService" (of one service's objects),
/// "RegisterService" and "Unregister". What the action throws comes out of the call, which has done
/// nothing then. A second action runs after each look-up, "GetServiceReferences", before its result is
/// returned. A third one runs before a reference is asked whether it is valid, as making a service's
/// objects does. The test executable defines these functions itself and passes them on.
class RuntimeCalls {
 public:
  explicit RuntimeCalls(
      std::function<void(const char*)> action, std::function<void()> afterLookUp = [] {},
      std::function<void()> beforeValidityTest = [] {});
  ~RuntimeCalls();
  RuntimeCalls(const RuntimeCalls&) = delete;
  RuntimeCalls& operator=(const RuntimeCalls&) = delete;

  void calling(const char* name) const { action_(name); }
  void lookedUp() const { afterLookUp_(); }
  void testingValidity() const { beforeValidityTest_(); }

 private:
  const std::function<void(const char*)> action_;
  const std::function<void()> afterLookUp_;
  const std::function<void()> beforeValidityTest_;
};

}  // namespace spf::test
