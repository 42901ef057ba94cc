#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ConfigurationAdminDouble.hpp"
#include "RecordedLog.hpp"
#include "TestFramework.hpp"

namespace spf::test {

/// One call of the library's collaborators, by its name and its number among those of that name:
/// "installAndStart", "getFramework"; "GetServiceReferences", "GetService", "RegisterService",
/// "Unregister"; "CreateFactoryConfiguration", "GetPid", "GetFactoryConfiguration", "Update", "Remove";
/// "log 4", "log 512"; and what else a test tells of.
struct Call {
  const char* name;
  int number = 1;
};

/// For the names of parameterised tests: "installAndStart3".
std::string nameOf(const Call& call);
void PrintTo(const Call& call, std::ostream* stream);

/// What a call throws: something derived from std::exception, or an int.
enum class Thrown { standardException, somethingElse };

/// How `outcomeOf` says that nothing came out of an operation, and that what was thrown did.
inline const std::string nothing = "nothing";
std::string textOf(Thrown thrown);

/// Everything that the library calls: a host and a running framework, a double of Configuration Admin,
/// and a log with all its levels on. Any one call may be made to throw.
class FailingCollaborators {
 public:
  FailingCollaborators();

  TestFramework framework;
  const std::shared_ptr<ConfigurationAdminDouble> admin = ConfigurationAdminDouble::registerWith(framework);
  RecordedLog log{~0u};

  /// Runs an operation on this thread while these calls throw. That they were reached is expected.
  /// \return what came out of the operation
  std::string outcomeOf(const std::vector<Call>& failing, Thrown thrown, const std::function<void()>& operation);

  /// The names of the calls of an operation that nothing disturbs, in their order.
  std::vector<std::string> callsOf(const std::function<void()>& operation);

  /// The same of the last operation, up to the call that threw, if one did.
  const std::vector<std::string>& callsSoFar() const { return calls_; }

  /// How often Configuration Admin was called that way since it was made or its calls were cleared.
  int calls(const std::string& name) const;

  /// For a collaborator that the test makes itself: tells of a call of it, which may throw then.
  void called(const std::string& name);

 private:
  bool running_ = false;
  std::vector<std::string> calls_;
  // How many calls of a name there will be up to the one that throws.
  std::map<std::string, int> until_;
  Thrown thrown_ = Thrown::standardException;
};

/// Runs a test once for each kind of exception, with new collaborators.
template <class Test>
void forEveryKindOfException(Test test) {
  for (const auto thrown : {Thrown::standardException, Thrown::somethingElse}) {
    FailingCollaborators collaborators;
    test(collaborators, thrown);
  }
}

}  // namespace spf::test
