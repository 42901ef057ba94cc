#pragma once

#include <string>
#include <string_view>

namespace cppmicroservices {

/// The value in a filter's comparison: a text in which one byte is the wildcard for any text.
class FilterValue {
 public:
  /// The wildcard, which is written as a star in a filter. The byte itself is a wildcard there, too, even after a
  /// backslash. Only comparisons for equality treat it as a wildcard.
  static constexpr char wildcard = '\x7f';

  void append(char c) { text_ += c; }
  void append(std::string_view text) { text_ += text; }

  /// Returns the text with its wildcards.
  const std::string& text() const { return text_; }

  bool hasWildcards() const { return text_.find(wildcard) != std::string::npos; }

  /// Returns whether the value is a single wildcard, which any present property matches.
  bool isPresence() const { return text_.size() == 1 && text_.front() == wildcard; }

  /// Returns whether the text matches this pattern. In the worst case, the time is proportional to the product of both
  /// lengths.
  bool matches(std::string_view text) const;

  /// Returns whether both are equal except for blanks and the case of ASCII letters.
  bool isApproximately(std::string_view text) const;

  /// Appends the value as a filter contains it, with special characters escaped.
  void print(std::string& text) const;

 private:
  std::string text_;
};

}  // namespace cppmicroservices
