#include "commands/loadConfiguration.hpp"

#include <filesystem>
#include <system_error>
#include <utility>

#include "display/terminalText.hpp"
#include "file/readConfiguration.hpp"

namespace spfctl {

namespace {

// Names the same file from any folder.
std::string lastingName(const std::string& file) {
  std::error_code error;
  const auto absolute = std::filesystem::absolute(file, error);
  return file == "-" || error ? file : absolute.native();
}

}  // namespace

SharedSource checkedSource(std::string file, SourceText text, std::ostream& messages) {
  auto checked = checkConfiguration(std::move(text));
  if (checked.findings.errors() != 0) {
    printErrors(messages, checked.source, checked.findings);
    return nullptr;
  }
  return std::make_shared<const ConfigurationSource>(
      ConfigurationSource{std::move(file), checked.source.text(), std::move(checked.description)});
}

SharedSource loadSource(const std::string& file, std::ostream& messages) {
  try {
    return checkedSource(lastingName(file), readSource(file), messages);
  } catch (const FileError& error) {
    messages << "spfctl: " << escaped(error.what()) << '\n';
    return nullptr;
  }
}

std::optional<ConfigurationDescription> loadConfiguration(const std::string& file, std::ostream& messages) {
  const auto source = loadSource(file, messages);
  return source ? std::optional(source->description) : std::nullopt;
}

}  // namespace spfctl
