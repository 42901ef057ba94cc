#pragma once

#include <string>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

/// Reads a manifest: a JSON object. Objects become maps whose keys compare without regard to case, arrays
/// std::vector<Any>, numbers int or double. Left out are null and whole numbers that are no int; of equal keys
/// the first counts; a '%' in front of a text is dropped.
/// \throws std::runtime_error saying what is wrong and where
AnyMap readManifest(const std::string& text);

}  // namespace cppmicroservices
