#include <algorithm>

#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "commands/clientSupport.hpp"
#include "commands/clients.hpp"
#include "commands/loadConfiguration.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using nlohmann::ordered_json;
using std::chrono::milliseconds;
using std::chrono::seconds;

// How long a host may take for what it answers at once, on a busy machine.
constexpr milliseconds answerLimit = seconds(10);

// What a host may need besides the time that it was given: to publish, or to withdraw.
constexpr milliseconds allowance = seconds(30);

// Sums of times that anybody may give must not overflow.
milliseconds bounded(milliseconds timeout) {
  return std::min<milliseconds>(timeout, std::chrono::hours(24 * 365));
}

ordered_json askHost(const HostOptions& options, const ordered_json& request, milliseconds timeout) {
  const ControlFolder folder(options.controlDir, ControlFolder::Purpose::ask);
  ControlClient client(folder, options.name, deadlineAfter(timeout));
  client.send(request);
  return client.readAnswer();
}

}  // namespace

ExitCode apply(const ApplyOptions& options, const Output& output) {
  return runClient("apply", output, [&] {
    const auto source = loadSource(options.file, output.err);
    if (!source) {
      return ExitCode::invalidConfiguration;
    }
    // The configuration may be waited for twice, the second time after a rollback.
    const auto answer = askHost(options.host,
                                {{"request", "apply"},
                                 {"file", source->file},
                                 {"text", source->text},
                                 {"timeout", options.timeout.count()},
                                 {"rollback", options.rollback}},
                                bounded(options.timeout) * 2 + allowance);
    const auto code = codeOf(answer, "apply", output);
    if (code == ExitCode::done) {
      output.out << "ready: " << textOf(answer, "id") << ", revision " << answer.value("revision", 0U) << '\n';
    }
    return code;
  });
}

ExitCode withdraw(const WithdrawOptions& options, const Output& output) {
  return runClient("withdraw", output, [&] {
    const ControlFolder folder(options.host.controlDir, ControlFolder::Purpose::ask);
    ControlClient client(folder, options.host.name, deadlineAfter(allowance));
    client.send({{"request", "withdraw"}});
    const auto code = codeOf(client.readAnswer(), "withdraw", output);
    client.waitForEnd();
    if (code == ExitCode::done) {
      output.out << "withdrawn\n";
    }
    return code;
  });
}

ExitCode ask(const AskOptions& options, const Output& output) {
  return runClient("ask", output, [&] {
    const auto answer = askHost(
        options.host, {{"request", "ask"}, {"endpoint", options.endpoint}, {"timeout", options.timeout.count()}},
        bounded(options.timeout) + answerLimit);
    const auto code = codeOf(answer, "ask", output);
    if (code == ExitCode::done) {
      for (const auto& line : answer.value("answers", std::vector<std::string>())) {
        output.out << escaped(line) << '\n';
      }
    }
    return code;
  });
}

ExitCode log(const LogOptions& options, const Output& output) {
  return runClient("log", output, [&] {
    return codeOf(askHost(options.host, {{"request", "log"}, {"levels", options.levels}}, answerLimit), "log", output);
  });
}

}  // namespace spfctl
