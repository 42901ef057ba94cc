#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cppmicroservices {

/// What a filter compares a property with: a text in which some stars stand for any text.
class FilterValue {
 public:
  void append(char c) { pieces_.back() += c; }
  void appendWildcard() { pieces_.emplace_back(); }
  /// To be called once after the last appended character.
  void finish();

  /// The text, wildcards being `*`.
  std::string const& text() const { return text_; }

  /// Whether it is a single wildcard, which asks for presence only.
  bool isPresence() const { return pieces_.size() == 2 && text_.size() == 1; }

  /// Whether the text is an instance of this pattern. Takes time in proportion to the product of
  /// both lengths at worst.
  bool matches(std::string_view text) const;

  /// Whether both are the same but for blanks and the case of ASCII letters; wildcards are plain stars.
  bool isApproximately(std::string_view text) const;

  /// The value as it stands in a filter, special characters escaped.
  std::string escaped() const;

 private:
  // What stands before, between and behind the wildcards.
  std::vector<std::string> pieces_{1};
  std::string text_;
  std::string folded_;
};

}  // namespace cppmicroservices
