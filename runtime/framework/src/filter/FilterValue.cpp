#include "filter/FilterValue.hpp"

#include "filter/isBlank.hpp"
#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool isSpecial(char c) {
  return c == '(' || c == ')' || c == '*' || c == '\\';
}

std::string fold(std::string_view text) {
  std::string folded;
  for (const char c : text) {
    if (!isBlank(c)) {
      folded += ascii::lower(c);
    }
  }
  return folded;
}

}  // namespace

// The leftmost position for each piece leaves the most text for the next ones, so no backtracking is needed.
bool FilterValue::matches(std::string_view text) const {
  std::string_view pattern = text_;
  auto length = pattern.find(wildcard);
  if (length == std::string_view::npos) {
    return text == pattern;
  }
  if (!startsWith(text, pattern.substr(0, length))) {
    return false;
  }
  text.remove_prefix(length);
  pattern.remove_prefix(length + 1);
  for (length = pattern.find(wildcard); length != std::string_view::npos; length = pattern.find(wildcard)) {
    const auto found = text.find(pattern.substr(0, length));
    if (found == std::string_view::npos) {
      return false;
    }
    text.remove_prefix(found + length);
    pattern.remove_prefix(length + 1);
  }
  return endsWith(text, pattern);
}

bool FilterValue::isApproximately(std::string_view text) const {
  return fold(text) == fold(text_);
}

void FilterValue::print(std::string& text) const {
  for (const char c : text_) {
    if (isSpecial(c)) {
      text += '\\';
    }
    text += c == wildcard ? '*' : c;
  }
}

}  // namespace cppmicroservices
