#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "commands/clientSupport.hpp"
#include "commands/clients.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using nlohmann::ordered_json;

std::string what(const ordered_json& event) {
  const auto kind = textOf(event, "kind");
  if (kind == "configuration") {
    return "published from " + textOf(event, "file");
  }
  if (kind == "endpoint") {
    const auto endpoint = event.value("endpoint", ordered_json());
    return textOf(event, "change") + " " +
           escaped(endpoint.is_string() ? endpoint.get<std::string>()
                                        : endpoint.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
  }
  if (kind == "error") {
    return "failed: " + textOf(event, "error");
  }
  if (kind == "dropped") {
    return std::to_string(event.value("count", 0ULL)) + " events dropped, because this reader was too slow";
  }
  return kind == "services" ? textOf(event, "change") : "an event of an unknown kind";
}

std::string lineOf(const ordered_json& event) {
  const auto publisher = event.contains("publisher") ? textOf(event, "publisher") : textOf(event, "configurationID");
  auto line = textOf(event, "time") + "  ";
  if (event.contains("revision")) {
    line += publisher + "  revision " + std::to_string(event.value("revision", 0U)) + "  ";
  }
  return line + what(event);
}

}  // namespace

ExitCode watch(const WatchOptions& options, const Output& output) {
  return runClient("watch", output, [&] {
    const ControlFolder folder(options.host.controlDir, ControlFolder::Purpose::ask);
    ControlClient client(folder, hostNamed(options.host.name, folder), deadlineAfter(std::chrono::milliseconds::max()));
    client.send({{"request", "watch"}, {"sinceStart", options.sinceStart}});
    const auto code = codeOf(client.readAnswer(), "watch", output);
    if (code != ExitCode::done) {
      return code;
    }
    try {
      while (output.out.good() && !output.isAbandoned()) {
        const auto line = client.readLine();
        const auto event = options.json ? ordered_json() : ordered_json::parse(line, nullptr, false);
        output.out << (options.json ? line : event.is_object() ? lineOf(event) : escaped(line)) << std::endl;
      }
      return ExitCode::done;
    } catch (const ConnectionLostError& error) {
      output.err << "spfctl watch: " << escaped(error.what()) << std::endl;
      return ExitCode::failedAtRunTime;
    }
  });
}

}  // namespace spfctl
