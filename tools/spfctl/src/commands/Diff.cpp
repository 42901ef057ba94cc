#include "commands/Diff.hpp"

#include <exception>
#include <ostream>
#include <utility>

#include <nlohmann/json.hpp>

#include "commands/loadConfiguration.hpp"
#include "display/terminalText.hpp"
#include "file/differences.hpp"

namespace spfctl {

namespace {

using nlohmann::ordered_json;

constexpr int same = 0;
constexpr int different = 1;
constexpr int trouble = 2;

const char* signOf(Difference::Kind kind) {
  switch (kind) {
    case Difference::Kind::added:
      return "+ ";
    case Difference::Kind::removed:
      return "- ";
    default:
      return "~ ";
  }
}

const char* nameOf(Difference::Kind kind) {
  switch (kind) {
    case Difference::Kind::added:
      return "added";
    case Difference::Kind::removed:
      return "removed";
    default:
      return "changed";
  }
}

std::string valuesOf(const Difference& difference) {
  if (difference.before.empty() && difference.after.empty()) {
    return {};
  }
  if (difference.kind == Difference::Kind::changed) {
    return ": '" + difference.before + "' -> '" + difference.after + "'";
  }
  return ": " + difference.before + difference.after;
}

void print(std::ostream& stream, const std::string& indent, const std::vector<Difference>& differences) {
  for (const auto& difference : differences) {
    stream << indent << signOf(difference.kind) << escaped(difference.what + valuesOf(difference)) << '\n';
    print(stream, indent + "    ", difference.details);
  }
}

void printGroup(std::ostream& stream, const char* title, const std::vector<Difference>& differences) {
  if (!differences.empty()) {
    stream << title << ":\n";
    print(stream, "  ", differences);
  }
}

ordered_json toJson(const std::vector<Difference>& differences) {
  auto list = ordered_json::array();
  for (const auto& difference : differences) {
    ordered_json entry{{"change", nameOf(difference.kind)}, {"what", difference.what}};
    if (!difference.before.empty() || !difference.after.empty()) {
      entry["before"] = difference.before;
      entry["after"] = difference.after;
    }
    if (!difference.details.empty()) {
      entry["details"] = toJson(difference.details);
    }
    list.push_back(std::move(entry));
  }
  return list;
}

std::string asJson(const Differences& differences) {
  const ordered_json document{{"format_version", 1},
                              {"configuration", toJson(differences.configuration)},
                              {"serviceInterfaces", toJson(differences.serviceInterfaces)},
                              {"servicePublishers", toJson(differences.servicePublishers)},
                              {"serviceMappings", toJson(differences.serviceMappings)}};
  return document.dump(2, ' ', false, ordered_json::error_handler_t::replace) + '\n';
}

}  // namespace

namespace {

int compare(const DiffOptions& options, const Output& output) {
  if (options.before == "-" && options.after == "-") {
    output.err << "spfctl diff: both files are standard input; expected at most one\n";
    return trouble;
  }
  const auto before = loadConfiguration(options.before, output.err);
  const auto after = loadConfiguration(options.after, output.err);
  if (!before || !after) {
    return trouble;
  }
  const auto differences = differencesOf(*before, *after);
  if (options.json) {
    output.out << asJson(differences);
  } else {
    printGroup(output.out, "configuration", differences.configuration);
    printGroup(output.out, "service interfaces", differences.serviceInterfaces);
    printGroup(output.out, "service publishers", differences.servicePublishers);
    printGroup(output.out, "service mappings", differences.serviceMappings);
  }
  return differences.empty() ? same : different;
}

}  // namespace

// 1 says that there are differences, so every failure has to be 2.
int diff(const DiffOptions& options, const Output& output) {
  try {
    const int result = compare(options, output);
    if (output.out.flush()) {
      return result;
    }
    output.err << "spfctl diff: standard output cannot be written\n";
  } catch (const std::exception& error) {
    output.err << "spfctl diff: " << escaped(error.what()) << '\n';
  }
  return trouble;
}

}  // namespace spfctl
