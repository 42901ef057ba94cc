#include "commands/Check.hpp"

#include <ostream>
#include <utility>

#include <nlohmann/json.hpp>

#include "display/terminalText.hpp"
#include "file/readConfiguration.hpp"

namespace spfctl {

namespace {

using nlohmann::ordered_json;

constexpr int formatVersion = 1;

ordered_json toJson(const SourceText& source, const Finding& finding) {
  const auto place = source.placeOf(finding.offset);
  return {{"severity", finding.severity == Finding::Severity::error ? "error" : "warning"},
          {"line", place.line},
          {"column", place.column},
          {"message", finding.message}};
}

ordered_json toJson(const CheckedConfiguration& checked) {
  auto findings = ordered_json::array();
  for (const auto& finding : checked.findings.shown()) {
    findings.push_back(toJson(checked.source, finding));
  }
  return {{"file", checked.source.name()},
          {"errors", checked.findings.errors()},
          {"warnings", checked.findings.warnings()},
          {"findings", std::move(findings)}};
}

// Checks one file after the other; collects what is printed as JSON, and prints the rest at once.
class Checking {
 public:
  Checking(const CheckOptions& options, const Output& output) : options_(options), output_(output) {}

  void check(const std::string& file) {
    try {
      auto checked = checkConfiguration(readSource(file));
      if (options_.strict) {
        checked.findings = checked.findings.asErrors();
      }
      isRefused_ = isRefused_ || checked.findings.errors() != 0;
      if (options_.json) {
        files_.push_back(toJson(checked));
      } else {
        print(checked);
      }
    } catch (const FileError& error) {
      isRefused_ = true;
      noteUnreadable(file, error.what());
    }
  }

  ExitCode finish() const {
    if (options_.json) {
      output_.out << ordered_json{{"format_version", formatVersion}, {"files", files_}}.dump(
                         2, ' ', false, ordered_json::error_handler_t::replace)
                  << '\n';
    }
    return isRefused_ ? ExitCode::invalidConfiguration : ExitCode::done;
  }

 private:
  void print(const CheckedConfiguration& checked) const {
    if (checked.findings.errors() + checked.findings.warnings() == 0) {
      output_.out << escaped(checked.source.name()) << ": ok\n";
    } else {
      spfctl::print(output_.out, checked.source, checked.findings);
    }
  }

  void noteUnreadable(const std::string& file, const char* reason) {
    if (options_.json) {
      files_.push_back({{"file", file}, {"errors", 1}, {"warnings", 0}, {"unreadable", reason}});
    } else {
      output_.err << "spfctl: " << escaped(reason) << '\n';
    }
  }

  const CheckOptions& options_;
  const Output& output_;
  ordered_json files_ = ordered_json::array();
  bool isRefused_ = false;
};

}  // namespace

ExitCode check(const CheckOptions& options, const Output& output) {
  Checking checking(options, output);
  for (const auto& file : options.files) {
    checking.check(file);
  }
  return checking.finish();
}

}  // namespace spfctl
