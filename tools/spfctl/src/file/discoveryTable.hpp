#pragma once

#include <map>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>

#include "file/Findings.hpp"
#include "file/SourceText.hpp"

namespace spfctl {

/// A file of discovery names that was read and checked.
struct CheckedTable {
  SourceText source;
  Findings findings;

  // Of use only if there is no error:
  cppmicroservices::Any property;                             ///< the value of the framework's property
  std::map<std::string, std::vector<std::string>> addresses;  ///< by name, in the file's order
};

/// Reads a JSON object from discovery names to an address or a list of addresses. Errors: text that is no JSON, values
/// of a wrong type, names that are none, names given twice or without an address, addresses that nobody can connect to.
CheckedTable checkDiscoveryTable(SourceText source);

}  // namespace spfctl
