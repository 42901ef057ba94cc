#include "commands/Replay.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <system_error>
#include <utility>

#include "agent/host/host.hpp"
#include "commands/ReplayReport.hpp"
#include "commands/loadConfiguration.hpp"
#include "display/terminalText.hpp"
#include "events/ReplayedConfiguration.hpp"
#include "events/readRecording.hpp"
#include "file/readConfiguration.hpp"

namespace spfctl {

namespace {

// An installation root without bundles, which is deleted at the end.
class EmptyRoot {
 public:
  EmptyRoot() {
    std::string name = (std::filesystem::temp_directory_path() / "spfctl-replay-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "Cannot make the temporary folder '" + name + "'");
    }
    path_ = name;
  }
  ~EmptyRoot() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  EmptyRoot(const EmptyRoot&) = delete;
  EmptyRoot& operator=(const EmptyRoot&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

// The configurations of a recording, by the numbers of their lines.
using Descriptions = std::map<std::size_t, ConfigurationDescription>;

std::optional<std::vector<RecordedLine>> loadRecording(const std::string& file, std::ostream& messages) {
  try {
    return readRecording(readSource(file, "a recording"));
  } catch (const FileError& error) {
    messages << "spfctl: " << escaped(error.what()) << '\n';
  } catch (const RecordingError& error) {
    messages << escaped(error.what()) << '\n';
  }
  return std::nullopt;
}

// Writes the errors of a recorded text with its place in the recording and in the file that it was read from.
std::optional<ConfigurationDescription> loadRecorded(const RecordedConfiguration& recorded, const std::string& place,
                                                     std::ostream& messages) {
  auto checked = checkConfiguration({place + ": " + recorded.file, recorded.text});
  if (checked.findings.errors() == 0) {
    return std::move(checked.description);
  }
  printErrors(messages, checked.source, checked.findings);
  return std::nullopt;
}

// Reads all configurations before any is published. The file, if there is one, takes the place of the first text.
std::optional<Descriptions> loadDescriptions(const std::vector<RecordedLine>& lines, const ReplayOptions& options,
                                             std::ostream& messages) {
  Descriptions descriptions;
  for (const auto& line : lines) {
    const auto* const recorded = std::get_if<RecordedConfiguration>(&line.event);
    if (recorded == nullptr) {
      continue;
    }
    const auto name = options.events == "-" ? "standard input" : options.events;
    const bool isReplaced = descriptions.empty() && !options.file.empty();
    auto description = isReplaced ? loadConfiguration(options.file, messages)
                                  : loadRecorded(*recorded, name + ":" + std::to_string(line.number), messages);
    if (!description) {
      return std::nullopt;
    }
    descriptions.emplace(line.number, std::move(*description));
  }
  return descriptions;
}

ReplayReport replayed(const std::vector<RecordedLine>& lines, const Descriptions& descriptions) {
  const EmptyRoot root;
  agent::host::services::HostOptions hostOptions;
  hostOptions.installationRoot = root.path();
  const agent::host::services::Host host(std::move(hostOptions));
  ReplayedConfiguration configuration;
  ReplayReport report;
  for (const auto& line : lines) {
    if (const auto* const published = std::get_if<RecordedConfiguration>(&line.event)) {
      configuration.publish(*published, descriptions.at(line.number));
    } else if (const auto* const drop = std::get_if<RecordedDrop>(&line.event)) {
      report.drops.push_back({line.number, drop->count});
    } else {
      ++report.events;
      if (const auto reason = configuration.deliver(line.event)) {
        report.ignored.push_back({&line, *reason, configuration.revision()});
      }
    }
  }
  report.configurationID = configuration.configurationID();
  report.revision = configuration.revision();
  report.publishers = configuration.states();
  return report;
}

}  // namespace

ExitCode replay(const ReplayOptions& options, const Output& output) {
  if (options.events == "-" && options.file == "-") {
    throw UsageError("spfctl replay: both files are standard input; expected at most one");
  }
  const auto lines = loadRecording(options.events, output.err);
  const auto descriptions = lines ? loadDescriptions(*lines, options, output.err) : std::nullopt;
  if (!descriptions) {
    return ExitCode::invalidConfiguration;
  }
  auto report = replayed(*lines, *descriptions);
  report.recording = options.events;
  if (options.json) {
    output.out << asJson(report);
  } else {
    print(output.out, report);
  }
  return ExitCode::done;
}

}  // namespace spfctl
