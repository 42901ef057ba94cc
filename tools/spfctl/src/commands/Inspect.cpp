#include "commands/Inspect.hpp"

#include <algorithm>
#include <ostream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "bundle/BundleInspector.hpp"
#include "display/terminalText.hpp"
#include "file/anyJson.hpp"

namespace spfctl {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

bool isBundleFile(const fs::path& path) {
  const auto extension = path.extension();
  return extension == ".so" || extension == ".zip";
}

// The bundle files of a directory are those that a host takes from it; what cannot be read is left to the inspector.
std::vector<fs::path> bundleFilesOf(const fs::path& path, std::ostream& messages) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    return {path};
  }
  std::vector<fs::path> files;
  for (fs::directory_iterator entry(path, error); !error && entry != fs::directory_iterator(); entry.increment(error)) {
    std::error_code unreachable;
    if (isBundleFile(entry->path()) && !fs::is_directory(entry->path(), unreachable)) {
      files.push_back(entry->path());
    }
  }
  if (error || files.empty()) {
    messages << "spfctl inspect: " << escaped(path.native()) << ": "
             << (error ? error.message() : std::string("no bundle file; expected one that ends in .so or .zip"))
             << '\n';
  }
  std::sort(files.begin(), files.end());
  return files;
}

ordered_json toJson(const BundleContent& bundle) {
  return {{"symbolicName", bundle.symbolicName},
          {"version", bundle.version},
          {"activator", bundle.hasActivator},
          {"services", bundle.offeredServices},
          {"manifest", spfctl::toJson(cppmicroservices::Any(bundle.manifest))}};
}

ordered_json toJson(const BundleReport& report) {
  auto bundles = ordered_json::array();
  for (const auto& bundle : report.bundles) {
    bundles.push_back(toJson(bundle));
  }
  return {{"file", report.file.native()},        {"size", report.size},
          {"permissions", report.permissions},   {"bundles", std::move(bundles)},
          {"accepted", report.refusals.empty()}, {"refusals", report.refusals}};
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "none" : text;
}

void print(std::ostream& stream, const BundleReport& report) {
  stream << escaped(report.file.native()) << '\n'
         << "  " << report.size << " bytes, "
         << (report.permissions.empty() ? "unknown permissions" : report.permissions) << '\n';
  for (const auto& bundle : report.bundles) {
    stream << "  " << escaped(bundle.symbolicName) << ' ' << escaped(bundle.version) << ", "
           << (bundle.hasActivator ? "with an activator" : "without an activator")
           << ", services: " << escaped(joined(bundle.offeredServices)) << '\n';
  }
  for (const auto& refusal : report.refusals) {
    stream << "  refused: " << escaped(refusal) << '\n';
  }
  if (report.refusals.empty()) {
    stream << "  accepted\n";
  }
}

}  // namespace

ExitCode inspect(const InspectOptions& options, const Output& output) {
  BundleInspector inspector;
  auto reports = ordered_json::array();
  bool isRefused = false;
  for (const auto& path : options.paths) {
    for (const auto& file : bundleFilesOf(path, output.err)) {
      const auto report = inspector.inspect(file);
      isRefused = isRefused || !report.refusals.empty();
      if (options.json) {
        reports.push_back(toJson(report));
      } else {
        print(output.out, report);
      }
    }
  }
  if (options.json) {
    const ordered_json document{{"format_version", 1}, {"files", std::move(reports)}};
    output.out << document.dump(2, ' ', false, ordered_json::error_handler_t::replace) << '\n';
  }
  return isRefused ? ExitCode::invalidConfiguration : ExitCode::done;
}

}  // namespace spfctl
