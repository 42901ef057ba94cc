#pragma once

#include <string>
#include <vector>

namespace spfctl {

/// Returns the name that somebody who typed `text` most likely meant, or an empty text if none is near: at most a third
/// of its characters may be wrong, missing, superfluous or exchanged with their neighbour. Case does not count.
std::string nearestName(const std::string& text, const std::vector<std::string>& names);

}  // namespace spfctl
