#pragma once

#include <string>
#include <string_view>

namespace cppmicroservices {

/// What a filter compares a property with: a text in which one byte stands for any text.
class FilterValue {
 public:
  /// Written as a star in a filter. The byte itself means the same there, even behind a backslash, and every
  /// comparison but that for equality takes it as it is.
  static constexpr char wildcard = '\x7f';

  void append(char c) { text_ += c; }

  /// The text with its wildcards.
  const std::string& text() const { return text_; }

  bool hasWildcards() const { return text_.find(wildcard) != std::string::npos; }

  /// Whether it is a single wildcard, which asks for presence only.
  bool isPresence() const { return text_.size() == 1 && text_.front() == wildcard; }

  /// Whether the text is an instance of this pattern. Takes time in proportion to the product of
  /// both lengths at worst.
  bool matches(std::string_view text) const;

  /// Whether both are the same but for blanks and the case of ASCII letters.
  bool isApproximately(std::string_view text) const;

  /// The value as it stands in a filter, special characters escaped.
  std::string escaped() const;

 private:
  std::string text_;
};

}  // namespace cppmicroservices
