#pragma once

#include <cstddef>
#include <string>

namespace spfctl {

// Texts of other people on a terminal: they neither break columns nor send commands to it.

/// Returns the text with what a terminal may not get as `\x1b` or `\u{202e}`: control characters, marks that change
/// the direction of writing, and bytes that are no UTF-8.
std::string escaped(const std::string& text);

/// Returns how many columns a terminal takes for a text without control characters: none for combining characters, two
/// for wide ones.
std::size_t columnsOf(const std::string& text);

/// Returns the text if it fits, else its beginning with an ellipsis, in so many columns at most.
std::string cutTo(const std::string& text, std::size_t columns);

}  // namespace spfctl
