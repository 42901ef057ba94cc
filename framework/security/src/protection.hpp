#pragma once

#include <optional>
#include <string>

#include <sys/stat.h>

// Who may change a file or a folder, by its owner and its permissions.
namespace agent::spf::security {

/// Returns permissions as four octal digits.
std::string octal(mode_t mode);

/// Returns what was found and what was expected if others than the effective user and root may change something; no
/// value if nobody else may. An access control list counts as well, since the group's bits then show what it gives.
/// \param expectedMode  permissions to recommend
/// \param what          completes "only its owner may write"
std::optional<std::string> whyUnprotected(const struct stat& status, mode_t expectedMode, const std::string& what);

}  // namespace agent::spf::security
