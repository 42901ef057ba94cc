#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <iostream>
#include <variant>

#include "commands/Check.hpp"
#include "commands/CommandLine.hpp"
#include "commands/Diff.hpp"
#include "commands/Discover.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Inspect.hpp"
#include "commands/Keygen.hpp"
#include "commands/Replay.hpp"
#include "commands/Run.hpp"
#include "commands/Show.hpp"
#include "commands/clients.hpp"
#include "display/terminal.hpp"
#include "display/terminalText.hpp"
#include "supervision/MessageLines.hpp"

namespace {

// Every endpoint needs file descriptors. The soft limit is low for programs that use select(), which this one does not.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

// Keeps the lines of several threads on standard error from mixing. A terminal shows texts before their line ends.
class WholeLines {
 public:
  WholeLines() {
    if (isatty(STDERR_FILENO) == 0) {
      const bool isJournal = spfctl::isJournalAtStandardError();
      lines = new spfctl::MessageLines(std::cerr, isJournal ? spfctl::Prefix::priority : spfctl::Prefix::none);
    }
  }
  ~WholeLines() {
    if (lines != nullptr) {
      lines->finish();
    }
  }
  WholeLines(const WholeLines&) = delete;
  WholeLines& operator=(const WholeLines&) = delete;

 private:
  // Never destroyed: threads of the framework may write until the process ends.
  inline static spfctl::MessageLines* lines = nullptr;
};

// Runs the command that was parsed and returns the process's exit code.
class Execution {
 public:
  explicit Execution(const spfctl::Output& output) : output_(output) {}

  int operator()(const spfctl::RunOptions& options) const {
    raiseDescriptorLimit();
    std::signal(SIGPIPE, SIG_IGN);
    // Otherwise each message would flush the standard output first, and wait as long as nobody reads it.
    std::cerr.tie(nullptr);
    spfctl::Changes changes;
    const spfctl::Signals signals(changes);
    return spfctl::run(options, signals, changes, output_);
  }
  int operator()(const spfctl::StatusOptions& options) const { return codeOf(spfctl::status(options, output_)); }
  int operator()(const spfctl::WatchOptions& options) const { return codeOf(spfctl::watch(options, output_)); }
  int operator()(const spfctl::ApplyOptions& options) const { return codeOf(spfctl::apply(options, output_)); }
  int operator()(const spfctl::WithdrawOptions& options) const { return codeOf(spfctl::withdraw(options, output_)); }
  int operator()(const spfctl::AskOptions& options) const { return codeOf(spfctl::ask(options, output_)); }
  int operator()(const spfctl::LogOptions& options) const { return codeOf(spfctl::log(options, output_)); }
  int operator()(const spfctl::DiscoverOptions& options) const { return codeOf(spfctl::discover(options, output_)); }
  int operator()(const spfctl::KeygenOptions& options) const { return codeOf(spfctl::keygen(options, output_)); }
  int operator()(const spfctl::CheckOptions& options) const { return codeOf(spfctl::check(options, output_)); }
  int operator()(const spfctl::ShowOptions& options) const { return codeOf(spfctl::show(options, output_)); }
  int operator()(const spfctl::DiffOptions& options) const { return spfctl::diff(options, output_); }
  int operator()(const spfctl::InspectOptions& options) const { return codeOf(spfctl::inspect(options, output_)); }
  int operator()(const spfctl::ReplayOptions& options) const { return codeOf(spfctl::replay(options, output_)); }
  int operator()(const spfctl::PrintText& command) const {
    output_.out << command.text;
    return codeOf(spfctl::ExitCode::done);
  }

 private:
  static int codeOf(spfctl::ExitCode code) { return static_cast<int>(code); }

  const spfctl::Output& output_;
};

}  // namespace

int main(int argc, char** argv) {
  const WholeLines wholeLines;
  const spfctl::Output output{std::cout,
                              std::cerr,
                              spfctl::terminalSize,
                              spfctl::timeStamp,
                              spfctl::mayBeColoured(),
                              isatty(STDERR_FILENO) != 0,
                              spfctl::isOutputAbandoned};
  try {
    const auto command = spfctl::parseCommandLine({argv + 1, argv + argc});
    const int code = std::visit(Execution(output), command);
    // These two answer for their output themselves.
    const bool isChecked =
        std::holds_alternative<spfctl::DiffOptions>(command) || std::holds_alternative<spfctl::RunOptions>(command);
    if (!std::cout.flush() && !isChecked) {
      std::cerr << "spfctl: standard output cannot be written\n";
      return static_cast<int>(spfctl::ExitCode::failedAtRunTime);
    }
    return code;
  } catch (const spfctl::UsageError& error) {
    std::cerr << spfctl::escaped(error.what()) << "\nTry 'spfctl --help'.\n";
    return static_cast<int>(spfctl::ExitCode::wrongUsage);
  } catch (const std::exception& error) {
    std::cerr << "spfctl: " << spfctl::escaped(error.what()) << '\n';
    return static_cast<int>(spfctl::ExitCode::failedAtRunTime);
  }
}
