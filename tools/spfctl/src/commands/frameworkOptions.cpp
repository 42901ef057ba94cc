#include "commands/frameworkOptions.hpp"

#include "commands/CommandLine.hpp"
#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"
#include "file/SourceText.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using cppmicroservices::Any;

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

}  // namespace

std::pair<std::string, Any> frameworkProperty(const std::string& text) {
  const auto sign = text.find('=');
  if (sign == std::string::npos) {
    throw UsageError("--property is '" + text + "'; expected NAME=VALUE");
  }
  auto name = text.substr(0, sign);
  if (name.empty() || name.find_first_not_of(nameCharacters) != std::string::npos) {
    throw UsageError("--property has the name '" + name + "'; expected letters, digits, '.', '_' and '-'");
  }
  if (name.rfind(runtimePrefix, 0) == 0) {
    throw UsageError("--property " + name + " is for the host to set; expected a property that bundles read");
  }
  auto value = text.substr(sign + 1);
  const bool isJson = !value.empty() && (value.front() == '{' || value.front() == '[');
  return {name, isJson ? jsonOf(name, value) : Any(std::move(value))};
}

}  // namespace spfctl
