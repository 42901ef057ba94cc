#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace cppmicroservices {

/// What a filter compares a property with: a text in which some stars stand for any text.
class FilterValue {
 public:
  void append(char c) { text_ += c; }
  void appendWildcard() {
    wildcards_.push_back(text_.size());
    text_ += '*';
  }

  /// The text, wildcards being `*`.
  std::string const& text() const { return text_; }

  /// Whether it is a single wildcard, which asks for presence only.
  bool isPresence() const { return wildcards_.size() == 1 && text_.size() == 1; }

  /// Whether the text is an instance of this pattern. Takes time in proportion to the product of
  /// both lengths at worst.
  bool matches(std::string_view text) const;

  /// Whether both are the same but for blanks and the case of ASCII letters; wildcards are plain stars.
  bool isApproximately(std::string_view text) const;

  /// The value as it stands in a filter, special characters escaped.
  std::string escaped() const;

 private:
  /// What stands before wildcard number i, and behind the one before it or the last one.
  std::string_view piece(std::size_t i) const;

  std::string text_;
  // Where in the text.
  std::vector<std::size_t> wildcards_;
};

}  // namespace cppmicroservices
