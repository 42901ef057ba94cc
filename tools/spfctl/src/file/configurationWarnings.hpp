#pragma once

#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"

namespace spfctl {

/// Warns about what a configuration may hold but the reference framework refuses or most likely nobody means: endpoints
/// that are no text or malformed, endpoints given twice, one address bound twice, publishers without an interface, and
/// publishers whose endpoints nobody waits for. Values of a wrong type are left to the reader.
void warnAbout(const JsonValue& configuration, Findings& findings);

}  // namespace spfctl
