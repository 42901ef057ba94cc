#include "FailingCollaborators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <stdexcept>

#include "RuntimeCalls.hpp"

namespace spf::test {

std::string nameOf(const Call& call) {
  std::string name = call.name + std::to_string(call.number);
  name.erase(std::remove(name.begin(), name.end(), ' '), name.end());
  return name;
}

void PrintTo(const Call& call, std::ostream* stream) {
  *stream << nameOf(call);
}

std::string textOf(Thrown thrown) {
  return thrown == Thrown::standardException ? "refused" : "42";
}

FailingCollaborators::FailingCollaborators() {
  framework.host().onGetFramework([this] { called("getFramework"); });
  framework.host().onInstallation([this](const Installation&) { called("installAndStart"); });
  admin->onCall([this](const std::string& call) { called(call.substr(0, call.find(' '))); });
  log.onRecord([this](const LogRecord& record) { called("log " + std::to_string(record.severity)); });
}

std::string FailingCollaborators::outcomeOf(const std::vector<Call>& failing, Thrown thrown,
                                            const std::function<void()>& operation) {
  calls_.clear();
  for (const auto& call : failing) {
    until_[call.name] = call.number;
  }
  thrown_ = thrown;
  const RuntimeCalls runtimeCalls([this](const char* name) { called(name); });
  running_ = true;
  std::string outcome = nothing;
  try {
    operation();
  } catch (const std::exception& exception) {
    outcome = exception.what();
  } catch (int number) {
    outcome = std::to_string(number);
  }
  running_ = false;
  for (const auto& [name, missing] : until_) {
    EXPECT_EQ(missing, 0) << "there was no such call of " << name;
  }
  until_.clear();
  return outcome;
}

std::vector<std::string> FailingCollaborators::callsOf(const std::function<void()>& operation) {
  EXPECT_EQ(outcomeOf({}, Thrown::standardException, operation), nothing);
  return calls_;
}

int FailingCollaborators::calls(const std::string& name) const {
  const auto calls = admin->calls();
  return static_cast<int>(std::count_if(calls.begin(), calls.end(),
                                        [&](const std::string& call) { return call.rfind(name + " ", 0) == 0; }));
}

void FailingCollaborators::called(const std::string& name) {
  if (!running_) {
    return;
  }
  calls_.push_back(name);
  const auto found = until_.find(name);
  if (found == until_.end() || --found->second != 0) {
    return;
  }
  if (thrown_ == Thrown::standardException) {
    throw std::runtime_error(textOf(thrown_));
  }
  throw 42;
}

}  // namespace spf::test
