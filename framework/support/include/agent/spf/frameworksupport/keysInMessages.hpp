#pragma once

#include <string>

// Messages name what was given, so a secret key that was given in place of its file would be in them.
namespace agent::spf::frameworksupport {

/// Returns whether a text may hold a key, so that no message may contain it: it has a line break, or as many successive
/// characters of Z85 as a key, and there is no file of this name. The existing folder of an absolute path is no part of
/// a key. Blocks on the file system.
[[nodiscard]] bool mayHoldKey(const std::string& text);

/// Returns a text in quotes for a message, or words in its place if it may hold a key.
[[nodiscard]] std::string quotedUnlessKey(const std::string& text);

}  // namespace agent::spf::frameworksupport
