#pragma once

#include "file/ConfigurationDescription.hpp"
#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"
#include "file/SourceText.hpp"

namespace spfctl {

/// A configuration file that was read and checked.
struct CheckedConfiguration {
  SourceText source;
  Findings findings;
  ConfigurationDescription description;  ///< of use only if there is no error
};

/// Reads a configuration and says all that can be said about it without a framework. Errors: text that is no JSON, keys
/// that are unknown, missing or given twice, values of a wrong type, IDs given twice, filters that do not parse,
/// mappings to nothing. Warnings: see `warnAbout`.
CheckedConfiguration checkConfiguration(SourceText source);

}  // namespace spfctl
