#pragma once

#include <string>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Returns the wiring of a configuration as a graph in Graphviz's language: interfaces, publishers, endpoints, and
/// mappings, those for all publishers dashed. Beyond 300 edges a publisher's endpoints are shown by their number.
std::string configurationGraph(const ConfigurationDescription& description);

/// Lays a graph out and draws it. For one thread at a time.
/// \throws std::runtime_error if it cannot be drawn
std::string drawnAsSvg(const std::string& graph);

}  // namespace spfctl
