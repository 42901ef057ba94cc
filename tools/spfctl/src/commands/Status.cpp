#include <algorithm>
#include <future>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "commands/clientSupport.hpp"
#include "commands/clients.hpp"
#include "display/Table.hpp"
#include "display/publisherLines.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds answerLimit = std::chrono::seconds(5);

// How often a host that is to appear is looked for.
constexpr milliseconds lookInterval{50};

// How many hosts are asked at once.
constexpr std::size_t askedAtOnce = 16;

ordered_json ask(const ControlFolder& folder, const std::string& host) {
  ControlClient client(folder, host, deadlineAfter(answerLimit));
  client.send({{"request", "status"}});
  return client.readAnswer();
}

std::string asJson(ordered_json answer) {
  ordered_json document{{"format_version", 1}};
  answer.erase("version");
  answer.erase("ok");
  document.update(answer);
  return document.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

ordered_json memberOf(const ordered_json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() ? *member : ordered_json();
}

std::string number(const ordered_json& object, const char* name) {
  const auto member = memberOf(object, name);
  return member.is_number_integer() ? member.dump() : "-";
}

std::string readyCount(const ordered_json& publishers) {
  const auto ready = std::count_if(publishers.begin(), publishers.end(), [](const ordered_json& publisher) {
    const auto state = textOf(publisher, "state");
    return state == "ready" || state == "degraded";
  });
  return std::to_string(ready) + " of " + std::to_string(publishers.size());
}

// An address says more than the endpoint if it is another one, apart from the name of a key.
std::string addressOf(const ordered_json& endpoint) {
  const auto address = textOf(endpoint, "address");
  const auto configured = textOf(endpoint, "endpoint");
  return address == configured || configured.rfind(address + "#", 0) == 0 ? "" : address;
}

std::string refusalsOf(const ordered_json& endpoint) {
  const auto count = memberOf(endpoint, "refusedHandshakes");
  if (!count.is_number_unsigned() || count == 0) {
    return "";
  }
  return "(" + refusedText(count.get<std::uint64_t>()) + ", last: " + textOf(endpoint, "lastRefusal") + ")";
}

// Where the endpoint is, why it is not up, and what it has refused.
std::string detailsOf(const ordered_json& endpoint) {
  auto text = addressOf(endpoint);
  const auto append = [&text](const char* separator, const std::string& part) {
    text += (text.empty() || part.empty() ? "" : separator) + part;
  };
  append(": ", textOf(endpoint, "reason"));
  append(" ", refusalsOf(endpoint));
  return text;
}

void printHost(const ordered_json& answer, std::ostream& stream) {
  const auto host = memberOf(answer, "host");
  const auto configuration = memberOf(answer, "configuration");
  Table head;
  head.add({"host", textOf(host, "name") + " (process " + number(host, "process") + ", since " +
                        textOf(host, "started") + ")"});
  head.add({"configuration", textOf(configuration, "id") + ": " + textOf(configuration, "state")});
  head.add({"revision", number(configuration, "revision") + " (since " + textOf(configuration, "since") + ")"});
  head.add({"file", textOf(configuration, "file")});
  const auto lastError = textOf(configuration, "lastError");
  if (!lastError.empty()) {
    head.add({"last error", lastError});
  }
  head.print(stream, "");
  stream << "publishers\n";
  for (const auto& publisher : memberOf(answer, "publishers")) {
    const auto error = textOf(publisher, "error");
    const bool isPublished = memberOf(publisher, "servicesPublished") == true;
    stream << "  " << textOf(publisher, "id") << "  " << textOf(publisher, "state")
           << (!error.empty() ? ": " + error
               : isPublished  ? ""
                              : ": services not published")
           << '\n';
    Table endpoints;
    for (const auto& endpoint : memberOf(publisher, "endpoints")) {
      endpoints.add({textOf(endpoint, "direction"), textOf(endpoint, "endpoint"), textOf(endpoint, "phase"),
                     detailsOf(endpoint)});
    }
    endpoints.print(stream, "    ");
  }
  stream << "bundles\n";
  Table bundles;
  for (const auto& bundle : memberOf(answer, "bundles")) {
    bundles.add({textOf(bundle, "symbolicName"), textOf(bundle, "version"), textOf(bundle, "state")});
  }
  bundles.print(stream, "  ");
}

// Asks all hosts at the same time, since one may hang.
std::vector<std::pair<std::string, std::optional<ordered_json>>> askAll(const ControlFolder& folder) {
  const auto names = folder.hosts();
  std::vector<std::pair<std::string, std::optional<ordered_json>>> answers;
  for (std::size_t first = 0; first < names.size(); first += askedAtOnce) {
    std::vector<std::future<ordered_json>> asked;
    const auto last = std::min(names.size(), first + askedAtOnce);
    for (auto index = first; index < last; ++index) {
      asked.push_back(std::async(std::launch::async, [&folder, &name = names[index]] { return ask(folder, name); }));
    }
    for (auto index = first; index < last; ++index) {
      try {
        answers.emplace_back(names[index], asked[index - first].get());
      } catch (const NoHostError&) {
        // A socket that was left over.
      } catch (const ControlError&) {
        answers.emplace_back(names[index], std::nullopt);
      }
    }
  }
  return answers;
}

ExitCode listHosts(const StatusOptions& options, const ControlFolder& folder, const Output& output) {
  const auto answers = askAll(folder);
  if (options.json) {
    auto hosts = ordered_json::array();
    for (const auto& [name, answer] : answers) {
      auto host = answer ? *answer : ordered_json{{"host", {{"name", name}}}, {"error", "no answer"}};
      host.erase("version");
      host.erase("ok");
      hosts.push_back(std::move(host));
    }
    output.out << ordered_json{{"format_version", 1}, {"hosts", std::move(hosts)}}.dump(
                      2, ' ', false, ordered_json::error_handler_t::replace)
               << '\n';
    return ExitCode::done;
  }
  if (answers.empty()) {
    output.err << "spfctl status: no host in " << escaped(folder.path().native()) << '\n';
    return ExitCode::done;
  }
  Table table;
  table.add({"NAME", "STATE", "REVISION", "SINCE", "READY", "PROCESS", "FILE"});
  for (const auto& [name, answer] : answers) {
    if (!answer) {
      table.add({name, "no answer"});
      continue;
    }
    const auto configuration = memberOf(*answer, "configuration");
    table.add({name, textOf(configuration, "state"), number(configuration, "revision"), textOf(configuration, "since"),
               readyCount(memberOf(*answer, "publishers")), number(memberOf(*answer, "host"), "process"),
               textOf(configuration, "file")});
  }
  table.print(output.out, "");
  return ExitCode::done;
}

ExitCode printAnswer(const ordered_json& answer, const StatusOptions& options, const Output& output) {
  const auto code = codeOf(answer, "status", output);
  if (code == ExitCode::done && options.json) {
    output.out << asJson(answer);
  } else if (code == ExitCode::done) {
    printHost(answer, output.out);
  }
  return code;
}

ExitCode waitUntilReady(const StatusOptions& options, const Output& output) {
  const auto deadline = deadlineAfter(options.timeout);
  for (;;) {
    try {
      const ControlFolder folder(options.host.controlDir, ControlFolder::Purpose::ask);
      ControlClient client(folder, options.host.name, deadline);
      client.send({{"request", "status"}, {"wait", "ready"}});
      return printAnswer(client.readAnswer(), options, output);
    } catch (const NoHostError& error) {
      std::this_thread::sleep_until(std::min(deadline, steady_clock::now() + lookInterval));
      if (steady_clock::now() >= deadline) {
        throw NoAnswerError(error.what());
      }
    }
  }
}

// Returns whether the host is there; a host that serves too many clients is, although it closes the connection.
bool isThere(const ControlFolder& folder, const std::string& host, steady_clock::time_point deadline) {
  try {
    const ControlClient client(folder, host, deadline);
    return true;
  } catch (const NoHostError&) {
    return false;
  }
}

ExitCode waitUntilWithdrawn(const StatusOptions& options, const Output& output) {
  const ControlFolder folder(options.host.controlDir, ControlFolder::Purpose::ask);
  const auto deadline = deadlineAfter(options.timeout);
  // A host that serves many clients may close a connection although it is there.
  do {
    try {
      ControlClient client(folder, options.host.name, deadline);
      client.send({{"request", "watch"}});
      const auto answer = client.readAnswer();
      client.waitForEnd();
      if (!answer.value("ok", false) && isThere(folder, options.host.name, deadline)) {
        return codeOf(answer, "status", output);
      }
    } catch (const NoHostError&) {
      return ExitCode::done;
    } catch (const ConnectionLostError&) {
      // It may have ended before it answered.
    }
  } while (isThere(folder, options.host.name, deadline));
  return ExitCode::done;
}

}  // namespace

ExitCode status(const StatusOptions& options, const Output& output) {
  return runClient("status", output, [&] {
    switch (options.awaited) {
      case StatusOptions::Awaited::ready:
        return waitUntilReady(options, output);
      case StatusOptions::Awaited::withdrawn:
        return waitUntilWithdrawn(options, output);
      default:
        break;
    }
    const ControlFolder folder(options.host.controlDir, ControlFolder::Purpose::ask);
    return options.host.name.empty() ? listHosts(options, folder, output)
                                     : printAnswer(ask(folder, options.host.name), options, output);
  });
}

}  // namespace spfctl
