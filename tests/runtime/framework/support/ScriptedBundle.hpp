#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "Script.hpp"
#include "TestFramework.hpp"

namespace spf::test {

/// A script that calls a function.
struct FunctionScript : Script {
  using Body = std::function<void(const std::string&, cppmicroservices::BundleContext)>;

  explicit FunctionScript(Body body) : body_(std::move(body)) {}
  void run(const std::string& step, cppmicroservices::BundleContext context) override { body_(step, context); }

 private:
  const Body body_;
};

/// A framework with the scripted bundle installed.
class ScriptedBundle : public StartedFramework {
 protected:
  ~ScriptedBundle() override { sut = nullptr; }

  /// Makes the bundle call the function at each step.
  void script(FunctionScript::Body body) {
    scripting = context().RegisterService<Script>(std::make_shared<FunctionScript>(std::move(body)));
  }

  void scriptThrowingIn(const std::string& where) {
    script([where](const std::string& step, cppmicroservices::BundleContext) {
      if (step == where) {
        throw std::runtime_error("thrown in " + where);
      }
    });
  }

  cppmicroservices::Bundle sut = context().InstallBundles(SCRIPTED_BUNDLE).at(0);
  cppmicroservices::ServiceRegistration<Script> scripting;
};

}  // namespace spf::test
