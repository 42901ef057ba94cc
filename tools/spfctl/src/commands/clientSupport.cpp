#include "commands/clientSupport.hpp"

#include <algorithm>
#include <chrono>

namespace spfctl {

using nlohmann::ordered_json;

std::string hostNamed(const std::string& name, const ControlFolder& folder) {
  if (!name.empty()) {
    return name;
  }
  auto hosts = folder.hosts();
  const auto isGone = [&](const std::string& host) {
    try {
      const ControlClient client(folder, host, std::chrono::steady_clock::now() + std::chrono::seconds(1));
      return false;
    } catch (const NoHostError&) {
      return true;  // it was killed, and its socket is left over
    } catch (const ControlError&) {
      return false;
    }
  };
  hosts.erase(std::remove_if(hosts.begin(), hosts.end(), isGone), hosts.end());
  if (hosts.empty()) {
    throw NoHostError("no host in " + folder.path().native());
  }
  if (hosts.size() > 1) {
    std::string names;
    for (const auto& host : hosts) {
      names += (names.empty() ? "" : ", ") + host;
    }
    throw ControlError("several hosts run; expected one of " + names);
  }
  return hosts.front();
}

std::string textOf(const ordered_json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() && member->is_string() ? escaped(member->get<std::string>()) : std::string();
}

ExitCode codeOf(const ordered_json& answer, const char* command, const Output& output) {
  if (answer.value("ok", false)) {
    return ExitCode::done;
  }
  output.err << "spfctl " << command << ": " << textOf(answer, "error") << '\n';
  const auto messages = answer.find("messages");
  if (messages != answer.end() && messages->is_array()) {
    for (const auto& message : *messages) {
      output.err << "  " << (message.is_string() ? escaped(message.get<std::string>()) : std::string()) << '\n';
    }
  }
  const auto recovery = textOf(answer, "recovery");
  if (!recovery.empty()) {
    output.err << "spfctl " << command << ": " << recovery << '\n';
  }
  const auto code = answer.find("code");
  const int number = code != answer.end() && code->is_number_integer() ? code->get<int>() : 0;
  const bool isKnown =
      number >= static_cast<int>(ExitCode::failedAtRunTime) && number <= static_cast<int>(ExitCode::refusedByFramework);
  return isKnown ? static_cast<ExitCode>(number) : ExitCode::failedAtRunTime;
}

}  // namespace spfctl
