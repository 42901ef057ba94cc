#pragma once

#include <string>

#include "file/JsonDocument.hpp"

namespace spfctl {

/// Returns a text as a JSON string, in quotes; bytes that are no UTF-8 become replacement characters.
std::string jsonText(const std::string& text);

/// Returns a value as JSON without blanks.
std::string jsonText(const JsonValue& value);

}  // namespace spfctl
