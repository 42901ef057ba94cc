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

void FilterValue::finish() {
  text_ = pieces_.front();
  for (auto piece = pieces_.begin() + 1; piece != pieces_.end(); ++piece) {
    text_ += '*' + *piece;
  }
  folded_ = fold(text_);
}

// The leftmost place for each piece leaves the most room for the next ones, so nothing is ever tried twice.
bool FilterValue::matches(std::string_view text) const {
  if (pieces_.size() == 1) {
    return text == pieces_.front();
  }
  if (!startsWith(text, pieces_.front())) {
    return false;
  }
  text.remove_prefix(pieces_.front().size());
  for (auto piece = pieces_.begin() + 1; piece != pieces_.end() - 1; ++piece) {
    auto const found = text.find(*piece);
    if (found == std::string_view::npos) {
      return false;
    }
    text.remove_prefix(found + piece->size());
  }
  return endsWith(text, pieces_.back());
}

bool FilterValue::isApproximately(std::string_view text) const {
  return fold(text) == folded_;
}

std::string FilterValue::escaped() const {
  std::string result;
  for (auto const& piece : pieces_) {
    if (&piece != &pieces_.front()) {
      result += '*';
    }
    for (char const c : piece) {
      if (c == '(' || c == ')' || c == '*' || c == '\\') {
        result += '\\';
      }
      result += c;
    }
  }
  return result;
}

}  // namespace cppmicroservices
