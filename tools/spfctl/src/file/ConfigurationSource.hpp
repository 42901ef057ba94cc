#pragma once

#include <memory>
#include <string>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// A configuration without errors, and where it came from.
struct ConfigurationSource {
  std::string file;  ///< the absolute path, or "-" for standard input
  std::string text;  ///< the file's text
  ConfigurationDescription description;
};

using SharedSource = std::shared_ptr<const ConfigurationSource>;

}  // namespace spfctl
