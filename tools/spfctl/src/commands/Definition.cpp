#include "commands/Definition.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>

#include "agent/spf/security/KeyName.hpp"
#include "commands/completion.hpp"
#include "commands/frameworkOptions.hpp"
#include "commands/help.hpp"
#include "commands/logLevels.hpp"
#include "commands/manual.hpp"
#include "commands/version.hpp"
#include "control/ControlFolder.hpp"
#include "file/configurationSchema.hpp"
#include "file/endpointTexts.hpp"

namespace spfctl {

namespace {

template <class Number>
std::optional<Number> wholeNumber(const std::string& text) {
  Number number{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

std::chrono::milliseconds duration(const std::string& text) {
  static const std::pair<const char*, std::int64_t> units[] = {{"ms", 1}, {"s", 1000}, {"m", 60000}, {"h", 3600000}};
  const auto digits = text.find_first_not_of("0123456789");
  const auto number = wholeNumber<std::int64_t>(text.substr(0, digits));
  const auto unit = digits == std::string::npos ? std::string() : text.substr(digits);
  for (const auto& [name, factor] : units) {
    if (number && unit == name && *number <= std::numeric_limits<std::int64_t>::max() / factor) {
      return std::chrono::milliseconds(*number * factor);
    }
  }
  throw UsageError("--timeout is '" + text + "'; expected a whole number and ms, s, m or h, like 30s");
}

std::uint32_t logLevel(const char* where, const std::string& text) {
  if (text == "none") {
    return 0;
  }
  if (text == "progress") {
    return loglevels::progress;
  }
  if (text == "warnings") {
    return loglevels::warnings;
  }
  if (text == "exceptions") {
    return loglevels::exceptions;
  }
  if (text == "all") {
    return std::numeric_limits<std::uint32_t>::max();
  }
  if (const auto mask = wholeNumber<std::uint32_t>(text)) {
    return *mask;
  }
  throw UsageError(std::string(where) + " has the level '" + text +
                   "'; expected progress, warnings, exceptions, all, none or a number");
}

std::uint32_t logLevels(const char* where, const std::string& text) {
  std::uint32_t mask = 0;
  std::string::size_type begin = 0;
  for (auto comma = text.find(','); comma != std::string::npos; comma = text.find(',', begin)) {
    mask |= logLevel(where, text.substr(begin, comma - begin));
    begin = comma + 1;
  }
  return mask | logLevel(where, text.substr(begin));
}

std::filesystem::path existingDirectory(const char* where, const std::string& text) {
  std::error_code error;
  if (!std::filesystem::is_directory(text, error)) {
    throw UsageError(std::string(where) + " is '" + text + "'; expected a directory that exists");
  }
  return text;
}

std::filesystem::path namedPath(const char* where, const std::string& text, const char* expected) {
  if (text.empty()) {
    throw UsageError(std::string(where) + " is ''; expected the name of " + expected);
  }
  return text;
}

std::string hostName(const char* where, const std::string& text) {
  if (!isHostName(text)) {
    throw UsageError(std::string(where) + " is '" + text +
                     "'; expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning");
  }
  return text;
}

std::string discoveryName(const std::string& text) {
  if (!isDiscoveryName(text)) {
    throw UsageError("NAME is '" + text + "'; expected letters, digits, '.', '_' and '-'");
  }
  return text;
}

std::string keyName(const std::string& text) {
  if (!agent::spf::security::isKeyName(text)) {
    throw UsageError("NAME is '" + text + "'; expected " + agent::spf::security::expectedKeyName);
  }
  return text;
}

void checkDiscover(const DiscoverOptions& options) {
  checkFramework(options.framework);
  const bool hasEtcd = etcdSettings(options.framework).has_value();
  if (!hasEtcd && options.framework.table.empty()) {
    throw UsageError("spfctl discover: no source of names; expected --discovery");
  }
  if (options.watch && (!hasEtcd || !options.framework.table.empty())) {
    throw UsageError("spfctl discover: --watch with table:, which never changes; expected --discovery etcd: alone");
  }
}

void addControlDir(CLI::App& command, std::filesystem::path& folder) {
  command
      .add_option_function<std::string>(
          "--control-dir", [&folder](const std::string& text) { folder = text; },
          "Folder of the control sockets (default: $XDG_RUNTIME_DIR/spfctl, else /run/spfctl for root and "
          "/tmp/spfctl-UID for others).")
      ->type_name("DIR");
}

// The parser's own conversion to a list would take some texts for lists.
CLI::Option* addRepeated(CLI::App& command, const char* name, std::function<void(const std::string&)> add) {
  return command
      .add_option(name,
                  [add = std::move(add)](const CLI::results_t& texts) {
                    std::for_each(texts.begin(), texts.end(), add);
                    return true;
                  })
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addTimeout(CLI::App& command, std::chrono::milliseconds& timeout, const char* description) {
  command
      .add_option_function<std::string>(
          "--timeout", [&timeout](const std::string& text) { timeout = duration(text); }, description)
      ->type_name("TIME");
}

ShowOptions::Format formatOf(const std::string& name) {
  if (name == "json") {
    return ShowOptions::Format::json;
  }
  if (name == "dot") {
    return ShowOptions::Format::dot;
  }
  return name == "svg" ? ShowOptions::Format::svg : ShowOptions::Format::text;
}

}  // namespace

Definition::Definition()
    : app_("Checks configurations of the SPF service framework, publishes them, and looks after their hosts.",
           "spfctl") {
  app_.require_subcommand(1);
  app_.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app_.footer(
      "spfctl check weather.json\n"
      "spfctl run weather.json --timeout 10s");
  app_.set_help_flag("-h,--help", "Print the help of spfctl or of a command.");
  app_.set_version_flag("--version", std::string("spfctl ") + version(), "Print the version.");
  addRun();
  addStatus();
  addWatch();
  addApply();
  addHostCommands();
  addDiscover();
  addKeygen();
  addCheck();
  addShow();
  addDiff();
  addInspect();
  addReplay();
  addTexts();
}

CLI::App* Definition::add(const char* name, const char* description, const char* examples,
                          std::function<Command()> choose) {
  auto* const command = app_.add_subcommand(name, description);
  command->footer(examples);
  command->callback([this, choose = std::move(choose)] { choose_ = choose; });
  return command;
}

void Definition::addRun() {
  auto* const run = add("run",
                        "Publish the configuration in FILE, show what every publisher still has to bind and connect, "
                        "stay until interrupted, and withdraw it.",
                        "spfctl run weather.json\n"
                        "spfctl run weather.json --once --timeout 10s\n"
                        "spfctl run weather.json --key weather.key --trust trusted\n"
                        "generate | spfctl run -",
                        [this] {
                          checkFramework(run_.framework);
                          return run_;
                        });
  run->add_option("FILE", run_.file, "Configuration file; - is standard input.")->required()->type_name("FILE");
  run->add_option_function<std::string>(
         "--root", [this](const std::string& text) { run_.root = existingDirectory("--root", text); },
         "Installation root that holds bin/win64/spf (default: the tool's own tree).")
      ->type_name("DIR");
  run->add_option_function<std::string>(
         "--timeout", [this](const std::string& text) { run_.timeout = duration(text); },
         "How long to wait until everything is ready, like 500ms, 30s, 2m (default: 30s).")
      ->type_name("TIME");
  run->add_flag("--once", run_.once, "Leave when everything is ready.");
  run->add_flag("--setup", run_.setup, "Bring up the framework's built-in configuration first.");
  run->add_flag("--quiet", run_.quiet, "Print no progress.");
  run->add_option_function<std::string>(
         "--log", [this](const std::string& text) { run_.logLevels = logLevels("--log", text); },
         "Which log records to show on standard error: progress, warnings, exceptions, all, none, or numbers, "
         "separated by commas (default: warnings).")
      ->type_name("LEVELS");
  addFramework(*run, run_.framework);
  addKeys(*run, run_.framework);
  addRunAsHost(*run);
}

// How others find the host, and what it writes down for them.
void Definition::addRunAsHost(CLI::App& run) {
  run.add_option_function<std::string>(
         "--name", [this](const std::string& text) { run_.name = hostName("--name", text); },
         "Name of this host for status, apply and the like (default: the configurationID, if it is a name).")
      ->type_name("NAME");
  addControlDir(run, run_.controlDir);
  run.add_flag_callback(
      "--no-control", [this] { run_.control = false; }, "Open no control socket: other commands do not see this host.");
  run.add_option_function<std::string>(
         "--record",
         [this](const std::string& text) {
           if (text.empty() || text == "-") {
             throw UsageError("--record is '" + text + "'; expected the name of a file");
           }
           run_.record = text;
         },
         "Write the framework's events to a file, for replay.")
      ->type_name("FILE");
}

void Definition::addFramework(CLI::App& command, FrameworkOptions& framework) {
  addRepeated(command, "--discovery", [&framework](const std::string& text) { addDiscovery(framework, text); })
      ->type_name("SOURCE")
      ->description(
          "Where discovery names are looked up: etcd:URL[,URL...] names members of a cluster of etcd; table:FILE is a "
          "JSON object from names to an address or a list of addresses. One of each may be given.");
  addRepeated(command, "--property", [&framework](const std::string& text) { addProperty(framework, text); })
      ->type_name("NAME=VALUE")
      ->description(
          "A property of the framework, which its bundles read. A VALUE that begins with { or [ is JSON, any other a "
          "text. May be given several times.");
}

void Definition::addKeys(CLI::App& command, FrameworkOptions& framework) {
  command
      .add_option_function<std::string>(
          "--key", [&framework](const std::string& text) { framework.key = namedPath("--key", text, "a file"); },
          "Encrypt all connections by tcp with the secret key in FILE, NAME.key, which keygen has made. The host goes "
          "by NAME among its peers; --property spf.curve.name=NAME gives it another one.")
      ->type_name("FILE");
  command
      .add_option_function<std::string>(
          "--trust",
          [&framework](const std::string& text) { framework.trust = namedPath("--trust", text, "a folder"); },
          "Folder of the public keys, NAME.pub, of the peers that are trusted; nobody else is let in. It is read again "
          "when it changes.")
      ->type_name("DIR");
}

void Definition::addStatus() {
  auto* const status = add("status",
                           "Show all hosts of this user on this machine, or the publishers, endpoints and bundles of "
                           "one.",
                           "spfctl status\n"
                           "spfctl status weather\n"
                           "spfctl status weather --wait ready --timeout 1m",
                           [this] {
                             if (status_.awaited != StatusOptions::Awaited::nothing && status_.host.name.empty()) {
                               throw UsageError("spfctl status: --wait without a NAME; expected the name of a host");
                             }
                             return status_;
                           });
  addHost(*status, status_.host, false);
  status
      ->add_option_function<std::string>(
          "--wait",
          [this](const std::string& text) {
            status_.awaited = text == "ready" ? StatusOptions::Awaited::ready : StatusOptions::Awaited::withdrawn;
          },
          "Wait until the host is there and everything is ready, or until it has ended.")
      ->type_name("STATE")
      ->check(CLI::IsMember({"ready", "withdrawn"}));
  addTimeout(*status, status_.timeout, "How long --wait waits (default: 30s).");
  status->add_flag("--json", status_.json, "Print the status as JSON.");
}

void Definition::addWatch() {
  auto* const watch = add("watch", "Print the framework's events as they come, a line each, until interrupted.",
                          "spfctl watch weather\n"
                          "spfctl watch weather --since-start --json > weather.jsonl",
                          [this] { return watch_; });
  addHost(*watch, watch_.host, false);
  watch->add_flag("--since-start", watch_.sinceStart, "Begin with the last 10,000 events.");
  watch->add_flag("--json", watch_.json,
                  "Print JSON lines, which replay reads; the first one holds the configuration.");
}

void Definition::addApply() {
  auto* const apply = add("apply",
                          "Replace the configuration of a host by the one in FILE, and wait until it is ready. "
                          "Endpoints that both have keep their connections.",
                          "spfctl apply weather weather.json\n"
                          "spfctl apply weather weather.json --rollback --timeout 10s",
                          [this] { return apply_; });
  addHost(*apply, apply_.host, true);
  apply->add_option("FILE", apply_.file, "Configuration file; - is standard input.")->required()->type_name("FILE");
  addTimeout(*apply, apply_.timeout, "How long to wait until everything is ready (default: 30s).");
  apply->add_flag("--rollback", apply_.rollback, "Go back to the old content if the new one is refused or not ready.");
}

void Definition::addHostCommands() {
  auto* const withdraw = add("withdraw", "Withdraw the configuration of a host, which ends then.",
                             "spfctl withdraw weather", [this] { return withdraw_; });
  addHost(*withdraw, withdraw_.host, true);

  auto* const ask = add("ask", "Ask the peer that a host is connected to what it publishes.",
                        "spfctl ask weather tcp://127.0.0.1:5556", [this] { return ask_; });
  addHost(*ask, ask_.host, true);
  ask->add_option("ENDPOINT", ask_.endpoint, "One of the endpoints to connect to, as it is configured.")
      ->required()
      ->type_name("ENDPOINT");
  addTimeout(*ask, ask_.timeout, "How long to wait for the answer (default: 2s).");

  auto* const log = add("log", "Change which log records a host shows.",
                        "spfctl log weather progress,warnings,exceptions\n"
                        "spfctl log weather none",
                        [this] { return log_; });
  addHost(*log, log_.host, true);
  log->add_option_function<std::string>(
         "LEVELS", [this](const std::string& text) { log_.levels = logLevels("LEVELS", text); },
         "progress, warnings, exceptions, all, none, or numbers, separated by commas.")
      ->required()
      ->type_name("LEVELS");
}

void Definition::addDiscover() {
  auto* const discover = add("discover",
                             "List what discovery names stand for: which hosts announce which addresses, and since "
                             "when. Needs no host.",
                             "spfctl discover --discovery etcd:http://10.0.0.1:2379\n"
                             "spfctl discover station --discovery etcd:http://10.0.0.1:2379 --watch\n"
                             "spfctl discover --discovery table:names.json",
                             [this] {
                               checkDiscover(discover_);
                               return discover_;
                             });
  discover
      ->add_option_function<std::string>(
          "NAME", [this](const std::string& text) { discover_.name = discoveryName(text); }, "The only name to list.")
      ->type_name("NAME");
  addFramework(*discover, discover_.framework);
  discover->add_flag("--watch", discover_.watch,
                     "Print what is announced, and then each change as it comes, a line each, until interrupted.");
  addTimeout(*discover, discover_.timeout, "How long to wait for etcd's first answer (default: 5s).");
  discover->add_flag("--json", discover_.json, "Print the names as JSON; with --watch, JSON lines.");
}

void Definition::addKeygen() {
  auto* const keygen =
      add("keygen",
          "Make a pair of keys for encrypted connections: NAME.key, which stays secret on the host that "
          "goes by this name, and NAME.pub, for the hosts that trust it.",
          "spfctl keygen station\n"
          "spfctl keygen station --folder /etc/spfctl/keys",
          [this] { return keygen_; });
  keygen
      ->add_option_function<std::string>(
          "NAME", [this](const std::string& text) { keygen_.name = keyName(text); },
          "Name that the owner of the keys goes by among its peers.")
      ->required()
      ->type_name("NAME");
  keygen
      ->add_option_function<std::string>(
          "--folder", [this](const std::string& text) { keygen_.folder = existingDirectory("--folder", text); },
          "Folder of the two files (default: the current one). Existing files are never replaced.")
      ->type_name("DIR");
}

void Definition::addHost(CLI::App& command, HostOptions& host, bool isRequired) {
  auto* const name = command.add_option_function<std::string>(
      "NAME", [&host](const std::string& text) { host.name = hostName("NAME", text); }, "Name of the host.");
  name->required(isRequired)->type_name("NAME");
  addControlDir(command, host.controlDir);
}

void Definition::addCheck() {
  auto* const check = add("check",
                          "Say everything that is wrong with configuration files, without a framework: errors, and "
                          "warnings about what the framework refuses or most likely nobody means.",
                          "spfctl check weather.json\n"
                          "spfctl check --strict *.json",
                          [this] { return check_; });
  check->add_option("FILE", check_.files, "Configuration files; - is standard input.")
      ->required()
      ->type_name("FILE")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  check->add_flag("--strict", check_.strict, "Take warnings for errors.");
  check->add_flag("--json", check_.json, "Print the findings as JSON.");
}

void Definition::addShow() {
  auto* const show = add("show", "Show what would be published.",
                         "spfctl show weather.json\n"
                         "spfctl show weather.json --as svg > weather.svg",
                         [this] { return show_; });
  show->add_option("FILE", show_.file, "Configuration file; - is standard input.")->required()->type_name("FILE");
  show->add_option_function<std::string>(
          "--as", [this](const std::string& text) { show_.format = formatOf(text); },
          "A tree for people (text, the default), the properties as Configuration Admin gets them (json), or a picture "
          "(dot, svg).")
      ->type_name("FORMAT")
      ->check(CLI::IsMember({"text", "json", "dot", "svg"}));
  show->add_flag_callback(
      "--json", [this] { show_.format = ShowOptions::Format::json; }, "The same as --as json.");
}

void Definition::addDiff() {
  auto* const diff = add("diff", "Show what changes when a published configuration is modified from OLD to NEW.",
                         "spfctl diff weather.json weather-new.json", [this] { return diff_; });
  diff->add_option("OLD", diff_.before, "Configuration file; - is standard input.")->required()->type_name("FILE");
  diff->add_option("NEW", diff_.after, "Configuration file; - is standard input.")->required()->type_name("FILE");
  diff->add_flag("--json", diff_.json, "Print the differences as JSON.");
}

void Definition::addInspect() {
  auto* const inspect =
      add("inspect",
          "Look into bundle files, or all of a directory, without running their code, and say whether "
          "this host would take them.",
          "spfctl inspect lib/bundle.so\n"
          "spfctl inspect bin/win64/spf/providers",
          [this] { return inspect_; });
  inspect->add_option("BUNDLE", inspect_.paths, "Bundle files or directories.")
      ->required()
      ->type_name("FILE")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  inspect->add_flag("--json", inspect_.json, "Print the result as JSON.");
}

void Definition::addReplay() {
  auto* const replay =
      add("replay",
          "Feed recorded events to their configuration without the framework's bundles, and say where each publisher "
          "ends and which events had no effect.",
          "spfctl replay events.jsonl\n"
          "spfctl replay events.jsonl weather-new.json",
          [this] { return replay_; });
  replay->add_option("EVENTS", replay_.events, "Recording of a host; - is standard input.")
      ->required()
      ->type_name("FILE");
  replay
      ->add_option("FILE", replay_.file,
                   "Configuration file instead of the first configuration in the recording; - is standard input.")
      ->type_name("FILE");
  replay->add_flag("--json", replay_.json, "Print the result as JSON.");
}

void Definition::addTexts() {
  add("schema", "Print the JSON Schema of the configuration file.", "spfctl schema > configuration.schema.json",
      [] { return PrintText{configurationSchema()}; });
  auto* const completion = add("completion", "Print a script that lets a shell complete commands, options and files.",
                               "source <(spfctl completion bash)\n"
                               "spfctl completion fish > ~/.config/fish/completions/spfctl.fish",
                               [this] { return PrintText{completionScript(*this, shell_)}; });
  completion->add_option("SHELL", shell_, "bash, zsh or fish.")
      ->required()
      ->type_name("SHELL")
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  add("manual", "Print the manual page, which man -l shows.", "spfctl manual | man -l -",
      [this] { return PrintText{manualPage(*this)}; });
}

const std::vector<ExitCodeText>& exitCodeTexts() {
  static const std::vector<ExitCodeText> texts = {
      {"0", "done; diff: no difference"},
      {"1",
       "failure at run time; no such host or name, etcd out of reach, or connection lost; diff: there are differences"},
      {"2", "wrong usage; diff: any trouble"},
      {"3",
       "configuration file, table of names, key, folder of keys or recording unreadable or invalid; inspect: a bundle "
       "that would be refused"},
      {"4", "not ready, or no answer, in time"},
      {"5", "refused by the framework"},
      {"129, 130, 143", "interrupted by SIGHUP, SIGINT or SIGTERM before everything was ready"}};
  return texts;
}

std::vector<std::string> valuesOf(const CLI::Option& option) {
  const auto type = option.get_type_name();
  const auto begin = type.find('{');
  if (begin == std::string::npos) {
    return {};
  }
  return CLI::detail::split(type.substr(begin + 1, type.find('}') - begin - 1), ',');
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

}  // namespace spfctl
