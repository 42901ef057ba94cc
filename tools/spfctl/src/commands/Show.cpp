#include "commands/Show.hpp"

#include <ostream>

#include <nlohmann/json.hpp>

#include "commands/loadConfiguration.hpp"
#include "display/configurationGraph.hpp"
#include "display/configurationTree.hpp"
#include "file/anyJson.hpp"
#include "file/encodedProperties.hpp"

namespace spfctl {

namespace {

std::string propertiesAsJson(const ConfigurationDescription& description) {
  const nlohmann::json document{{"format_version", 1},
                                {"configurationID", description.configurationID},
                                {"properties", toJson(encodedProperties(description))}};
  return document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

std::string shown(const ConfigurationDescription& description, ShowOptions::Format format) {
  switch (format) {
    case ShowOptions::Format::json:
      return propertiesAsJson(description);
    case ShowOptions::Format::dot:
      return configurationGraph(description);
    case ShowOptions::Format::svg:
      return drawnAsSvg(configurationGraph(description));
    default:
      return configurationTree(description);
  }
}

}  // namespace

ExitCode show(const ShowOptions& options, const Output& output) {
  const auto description = loadConfiguration(options.file, output.err);
  if (!description) {
    return ExitCode::invalidConfiguration;
  }
  output.out << shown(*description, options.format);
  return ExitCode::done;
}

}  // namespace spfctl
