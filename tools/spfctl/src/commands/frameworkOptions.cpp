#include "commands/frameworkOptions.hpp"

#include <utility>

#include "display/terminalText.hpp"
#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"
#include "file/SourceText.hpp"
#include "file/discoveryTable.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using cppmicroservices::Any;

constexpr const char* tableProperty = "spf.discovery";

constexpr const char* nameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";

// The runtime's own: the storage is the host's temporary folder, and others have to be of types that no text is.
constexpr const char* runtimePrefix = "org.cppmicroservices.";

Any jsonOf(const std::string& name, const std::string& value) {
  Findings findings;
  const JsonDocument document(value, findings);
  auto result = document.isComplete() ? toAny(document.root(), findings) : Any();
  if (findings.errors() != 0) {
    const auto first = findings.sorted().front();
    const auto place = SourceText(name, value).placeOf(first.offset);
    throw UsageError("--property " + name + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
                     ": " + first.message);
  }
  return result;
}

// Returns the text behind a prefix; nothing if it does not begin with that.
std::optional<std::string> textBehind(const std::string& prefix, const std::string& text) {
  return text.rfind(prefix, 0) == 0 ? std::optional(text.substr(prefix.size())) : std::nullopt;
}

}  // namespace

void addProperty(FrameworkOptions& options, const std::string& text) {
  const auto sign = text.find('=');
  if (sign == std::string::npos) {
    throw UsageError("--property is '" + text + "'; expected NAME=VALUE");
  }
  const auto name = text.substr(0, sign);
  if (name.empty() || name.find_first_not_of(nameCharacters) != std::string::npos) {
    throw UsageError("--property has the name '" + name + "'; expected letters, digits, '.', '_' and '-'");
  }
  if (name.rfind(runtimePrefix, 0) == 0) {
    throw UsageError("--property " + name + " is for the host to set; expected a property that bundles read");
  }
  if (options.properties.count(name) != 0) {
    throw UsageError("--property " + name + " is given twice; expected it once");
  }
  auto value = text.substr(sign + 1);
  const bool isJson = !value.empty() && (value.front() == '{' || value.front() == '[');
  options.properties[name] = isJson ? jsonOf(name, value) : Any(std::move(value));
}

void addDiscovery(FrameworkOptions& options, const std::string& text) {
  const auto file = textBehind("table:", text);
  if (!file || file->empty() || *file == "-") {
    throw UsageError("--discovery is '" + text + "'; expected table:FILE");
  }
  if (!options.table.empty()) {
    throw UsageError("--discovery table: is given twice; expected one file");
  }
  options.table = *file;
}

void checkFramework(const FrameworkOptions& options) {
  if (!options.table.empty() && options.properties.count(tableProperty) != 0) {
    throw UsageError(std::string("--property ") + tableProperty +
                     " is given beside --discovery table:, which sets it; expected one of them");
  }
}

std::optional<std::map<std::string, Any>> frameworkProperties(const FrameworkOptions& options, std::ostream& messages) {
  auto properties = options.properties;
  if (options.table.empty()) {
    return properties;
  }
  try {
    auto table = checkDiscoveryTable(readSource(options.table, "a table of discovery names"));
    if (table.findings.errors() != 0) {
      printErrors(messages, table.source, table.findings);
      return std::nullopt;
    }
    properties[tableProperty] = std::move(table.property);
    return properties;
  } catch (const FileError& error) {
    messages << "spfctl: " << escaped(error.what()) << '\n';
    return std::nullopt;
  }
}

}  // namespace spfctl
