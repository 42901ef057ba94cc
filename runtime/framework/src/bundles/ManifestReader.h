#pragma once

#include <string>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

/// Parses a manifest, which is a JSON object. Objects become maps whose keys compare without regard to case, arrays
/// std::vector<Any>, numbers int or double. Ignores null and whole numbers that do not fit an int, uses the first of
/// equal keys, and removes a '%' at the beginning of a text.
/// \throws std::runtime_error naming the error and its position
AnyMap readManifest(const std::string& text);

}  // namespace cppmicroservices
