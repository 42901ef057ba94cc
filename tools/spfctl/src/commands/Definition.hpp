#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "commands/CommandLine.hpp"

// Includes the option parser, which is slow to compile: for those that parse or walk the definition only.
namespace spfctl {

/// The one definition of the command line. Parsing, `--help`, the manual page and the completion of shells are made
/// from it.
class Definition {
 public:
  Definition();
  Definition(const Definition&) = delete;
  Definition& operator=(const Definition&) = delete;

  CLI::App& app() { return app_; }
  const CLI::App& app() const { return app_; }

  /// Returns the command that was parsed.
  Command chosen() const { return choose_(); }

 private:
  CLI::App* add(const char* name, const char* description, const char* examples, std::function<Command()> choose);
  void addRun();
  void addRunAsHost(CLI::App& run);
  void addFramework(CLI::App& command, FrameworkOptions& framework);
  void addKeys(CLI::App& command, FrameworkOptions& framework);
  void addStatus();
  void addWatch();
  void addApply();
  void addHostCommands();
  void addDiscover();
  void addKeygen();
  void addHost(CLI::App& command, HostOptions& host, bool isRequired);
  void addCheck();
  void addShow();
  void addDiff();
  void addInspect();
  void addReplay();
  void addTexts();

  CLI::App app_;
  std::function<Command()> choose_;
  RunOptions run_;
  StatusOptions status_;
  WatchOptions watch_;
  ApplyOptions apply_;
  WithdrawOptions withdraw_;
  AskOptions ask_;
  LogOptions log_;
  DiscoverOptions discover_;
  KeygenOptions keygen_;
  CheckOptions check_;
  ShowOptions show_;
  DiffOptions diff_;
  InspectOptions inspect_;
  ReplayOptions replay_;
  std::string shell_;
};

/// A row of the table of exit codes.
struct ExitCodeText {
  const char* code;
  const char* meaning;
};

/// Returns the exit codes of all commands.
const std::vector<ExitCodeText>& exitCodeTexts();

/// Returns the values that an option accepts; empty if it accepts any.
std::vector<std::string> valuesOf(const CLI::Option& option);

/// Returns the sub-commands in the order of their definition.
std::vector<const CLI::App*> subcommandsOf(const CLI::App& app);

}  // namespace spfctl
