#include "filter/FilterValue.hpp"

#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

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
  for (char const c : text) {
    if (!isBlank(c)) {
      folded += ascii::lower(c);
    }
  }
  return folded;
}

}  // namespace

std::string_view FilterValue::piece(std::size_t i) const {
  auto const begin = i == 0 ? 0 : wildcards_[i - 1] + 1;
  auto const end = i < wildcards_.size() ? wildcards_[i] : text_.size();
  return std::string_view(text_).substr(begin, end - begin);
}

// The leftmost place for each piece leaves the most room for the next ones, so nothing is ever tried twice.
bool FilterValue::matches(std::string_view text) const {
  if (wildcards_.empty()) {
    return text == text_;
  }
  if (!startsWith(text, piece(0))) {
    return false;
  }
  text.remove_prefix(piece(0).size());
  for (std::size_t i = 1; i < wildcards_.size(); ++i) {
    auto const found = text.find(piece(i));
    if (found == std::string_view::npos) {
      return false;
    }
    text.remove_prefix(found + piece(i).size());
  }
  return endsWith(text, piece(wildcards_.size()));
}

bool FilterValue::isApproximately(std::string_view text) const {
  return fold(text) == fold(text_);
}

std::string FilterValue::escaped() const {
  std::string result;
  for (std::size_t i = 0; i <= wildcards_.size(); ++i) {
    result.append(i > 0 ? 1 : 0, '*');
    for (char const c : piece(i)) {
      if (isSpecial(c)) {
        result += '\\';
      }
      result += c;
    }
  }
  return result;
}

}  // namespace cppmicroservices
