#pragma once

#include <string>

namespace spfctl {

/// Returns the JSON Schema (draft 7) of the configuration file, made from the table that the reader uses.
std::string configurationSchema();

}  // namespace spfctl
