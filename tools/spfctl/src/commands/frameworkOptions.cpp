#include "commands/frameworkOptions.hpp"

#include <stdexcept>
#include <utility>

#include "agent/spf/etcd/readSettings.hpp"
#include "agent/spf/frameworksupport/keysInMessages.hpp"
#include "commands/keyOptions.hpp"
#include "display/terminalText.hpp"
#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"
#include "file/SourceText.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksupport::mayHoldKey;
using agent::spf::frameworksupport::quotedUnlessKey;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using Properties = std::map<std::string, Any>;

constexpr const char* tableProperty = "spf.discovery";
constexpr const char* etcdProperty = "spf.discovery.etcd";

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
                     ": " + (mayHoldKey(value) ? quotedUnlessKey(value) + ", and no JSON" : first.message));
  }
  return result;
}

// Returns the text behind a prefix; nothing if it does not begin with that.
std::optional<std::string> textBehind(const std::string& prefix, const std::string& text) {
  return text.rfind(prefix, 0) == 0 ? std::optional(text.substr(prefix.size())) : std::nullopt;
}

void addEtcd(FrameworkOptions& options, const std::string& members) {
  if (!options.etcd.empty()) {
    throw UsageError("--discovery etcd: is given twice; expected one list of members");
  }
  try {
    options.etcd = agent::spf::etcd::parseMembers(members);
  } catch (const std::invalid_argument& error) {
    throw UsageError(std::string("--discovery etcd: ") + error.what());
  }
}

void refuseProperty(const FrameworkOptions& options, const std::string& name, const char* source) {
  if (options.properties.count(name) != 0) {
    throw UsageError("--property " + name + " is given beside --discovery " + source +
                     ", which sets it; expected one of them");
  }
}

Properties withEtcd(const FrameworkOptions& options) {
  auto properties = options.properties;
  if (!options.etcd.empty()) {
    std::string list;
    for (const auto& member : options.etcd) {
      list += (list.empty() ? "" : ",") + member;
    }
    properties[etcdProperty] = list;
  }
  return properties;
}

}  // namespace

void addProperty(FrameworkOptions& options, const std::string& text) {
  const auto sign = text.find('=');
  if (sign == std::string::npos) {
    throw UsageError("--property is " + quotedUnlessKey(text) + "; expected NAME=VALUE");
  }
  const auto name = text.substr(0, sign);
  if (name.empty() || name.find_first_not_of(nameCharacters) != std::string::npos) {
    throw UsageError("--property has the name " + (mayHoldKey(text) ? quotedUnlessKey(text) : "'" + name + "'") +
                     "; expected letters, digits, '.', '_' and '-'");
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
  if (const auto members = textBehind("etcd:", text)) {
    addEtcd(options, *members);
    return;
  }
  const auto file = textBehind("table:", text);
  if (!file || file->empty() || *file == "-") {
    throw UsageError("--discovery is '" + text + "'; expected etcd:URL[,URL...] or table:FILE");
  }
  if (!options.table.empty()) {
    throw UsageError("--discovery table: is given twice; expected one file");
  }
  options.table = *file;
}

void checkFramework(const FrameworkOptions& options) {
  if (!options.table.empty()) {
    refuseProperty(options, tableProperty, "table:");
  }
  if (!options.etcd.empty()) {
    refuseProperty(options, etcdProperty, "etcd:");
  }
  static_cast<void>(etcdSettings(options));
  checkKeys(options);
}

std::optional<agent::spf::etcd::Settings> etcdSettings(const FrameworkOptions& options) {
  const auto properties = withEtcd(options);
  try {
    return agent::spf::etcd::readSettings([&](const std::string& name) -> std::optional<std::string> {
      const auto found = properties.find(name);
      if (found == properties.end()) {
        return std::nullopt;
      }
      const auto* const text = any_cast<std::string>(&found->second);
      if (text == nullptr) {
        throw std::invalid_argument("framework property '" + name + "' is JSON; expected a text");
      }
      return *text;
    });
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

std::optional<CheckedTable> loadTable(const std::string& file, std::ostream& messages) {
  try {
    auto table = checkDiscoveryTable(readSource(file, "a table of discovery names"));
    if (table.findings.errors() == 0) {
      return table;
    }
    printErrors(messages, table.source, table.findings);
  } catch (const FileError& error) {
    messages << "spfctl: " << escaped(error.what()) << '\n';
  }
  return std::nullopt;
}

std::optional<Properties> frameworkProperties(const FrameworkOptions& options, std::ostream& messages) {
  auto properties = withEtcd(options);
  if (!options.table.empty()) {
    auto table = loadTable(options.table, messages);
    if (!table) {
      return std::nullopt;
    }
    properties[tableProperty] = std::move(table->property);
  }
  if (!addKeyProperties(options, properties, messages)) {
    return std::nullopt;
  }
  return properties;
}

}  // namespace spfctl
