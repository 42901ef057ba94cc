#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include <cppmicroservices/Any.h>

#include "commands/logLevels.hpp"

namespace spfctl {

/// How names stand for addresses, whose keys encrypt connections, and further properties of a framework.
struct FrameworkOptions {
  std::vector<std::string> etcd;                            ///< client URLs of its members; empty: none
  std::string table;                                        ///< file of names and their addresses; empty: none
  std::filesystem::path key;                                ///< file of the host's secret key; empty: none
  std::filesystem::path trust;                              ///< folder of public keys; empty: none
  std::map<std::string, cppmicroservices::Any> properties;  ///< from --property
};

/// `spfctl run`.
struct RunOptions {
  std::string file;
  std::filesystem::path root;  ///< empty: the tree that the tool is in
  std::chrono::milliseconds timeout = std::chrono::seconds(30);
  bool once = false;
  bool setup = false;
  bool quiet = false;
  std::uint32_t logLevels = loglevels::warnings;
  std::string name;                  ///< of the control socket; empty: the configuration's ID
  std::filesystem::path controlDir;  ///< empty: the standard one
  bool control = true;               ///< whether a control socket is opened
  std::string record;                ///< file for the events; empty: none
  FrameworkOptions framework;
};

/// The running host that a command is about.
struct HostOptions {
  std::string name;                  ///< empty, where that is allowed: all, or the only one
  std::filesystem::path controlDir;  ///< empty: the standard one
};

/// `spfctl status`.
struct StatusOptions {
  enum class Awaited { nothing, ready, withdrawn };

  HostOptions host;
  Awaited awaited = Awaited::nothing;
  std::chrono::milliseconds timeout = std::chrono::seconds(30);
  bool json = false;
};

/// `spfctl watch`.
struct WatchOptions {
  HostOptions host;
  bool sinceStart = false;
  bool json = false;
};

/// `spfctl apply`.
struct ApplyOptions {
  HostOptions host;
  std::string file;
  std::chrono::milliseconds timeout = std::chrono::seconds(30);
  bool rollback = false;
};

/// `spfctl withdraw`.
struct WithdrawOptions {
  HostOptions host;
};

/// `spfctl ask`.
struct AskOptions {
  HostOptions host;
  std::string endpoint;
  std::chrono::milliseconds timeout = std::chrono::seconds(2);
};

/// `spfctl log`.
struct LogOptions {
  HostOptions host;
  std::uint32_t levels = 0;
};

/// `spfctl discover`.
struct DiscoverOptions {
  FrameworkOptions framework;
  std::string name;  ///< empty: all
  std::chrono::milliseconds timeout = std::chrono::seconds(5);
  bool watch = false;
  bool json = false;
};

/// `spfctl keygen`.
struct KeygenOptions {
  std::string name;
  std::filesystem::path folder;  ///< empty: the current one
};

/// `spfctl check`.
struct CheckOptions {
  std::vector<std::string> files;
  bool strict = false;
  bool json = false;
};

/// `spfctl show`.
struct ShowOptions {
  enum class Format { text, json, dot, svg };

  std::string file;
  Format format = Format::text;
};

/// `spfctl diff`.
struct DiffOptions {
  std::string before;
  std::string after;
  bool json = false;
};

/// `spfctl inspect`.
struct InspectOptions {
  std::vector<std::string> paths;
  bool json = false;
};

/// `spfctl replay`.
struct ReplayOptions {
  std::string events;
  std::string file;  ///< empty: the text in the recording
  bool json = false;
};

/// `spfctl schema`, `spfctl completion`, `spfctl manual`, `--help` and `--version`: prints a text.
struct PrintText {
  std::string text;
};

/// The command line is invalid.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Command = std::variant<RunOptions, StatusOptions, WatchOptions, ApplyOptions, WithdrawOptions, AskOptions,
                             LogOptions, DiscoverOptions, KeygenOptions, CheckOptions, ShowOptions, DiffOptions,
                             InspectOptions, ReplayOptions, PrintText>;

/// Parses the arguments, without the program's name.
/// \throws UsageError naming the argument and what was expected
Command parseCommandLine(std::vector<std::string> arguments);

}  // namespace spfctl
