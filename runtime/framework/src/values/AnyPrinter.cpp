#include "cppmicroservices/detail/AnyPrinter.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "cppmicroservices/AnyMap.h"
#include "values/QuotedText.hpp"

namespace cppmicroservices {

namespace detail {

namespace {

// Returns the character that follows the backslash in an escape sequence; 0 if there is no such sequence.
char escapeOf(char c) {
  switch (c) {
    case '"':
    case '\\':
      return c;
    case '\b':
      return 'b';
    case '\f':
      return 'f';
    case '\n':
      return 'n';
    case '\r':
      return 'r';
    case '\t':
      return 't';
    default:
      return 0;
  }
}

bool isWrittenAsItIs(char c) {
  return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
}

std::string escaped(char c) {
  constexpr auto digits = "0123456789abcdef";
  if (char const escape = escapeOf(c)) {
    return {'\\', escape};
  }
  const auto byte = static_cast<unsigned char>(c);
  return {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 15]};
}

// Calls `write` for each piece of the text in JSON. Pieces are as long as possible: writing to a stream costs as much
// for a character as for a text.
template <class Write>
void escape(std::string_view text, Write write) {
  while (!text.empty()) {
    const auto* const special = std::find_if_not(text.begin(), text.end(), isWrittenAsItIs);
    const auto length = static_cast<std::size_t>(special - text.begin());
    write(text.substr(0, length));
    if (length == text.size()) {
      return;
    }
    write(escaped(*special));
    text.remove_prefix(length + 1);
  }
}

}  // namespace

void printQuoted(std::ostream& out, const std::string& text) {
  out << '"';
  escape(text, [&](std::string_view piece) { out.write(piece.data(), static_cast<std::streamsize>(piece.size())); });
  out << '"';
}

std::string quoted(const std::string& text) {
  std::string result;
  result.reserve(text.size() + 2);
  result += '"';
  escape(text, [&](std::string_view piece) { result += piece; });
  result += '"';
  return result;
}

void AnyPrinter<Any>::text(std::ostream& out, const Any& value) {
  if (value.Empty()) {
    throw std::logic_error("empty any");
  }
  value.content_->operations->text(out, *value.content_);
}

void AnyPrinter<Any>::json(std::ostream& out, const Any& value, Layout layout) {
  if (value.Empty()) {
    out << "null";
  } else {
    value.content_->operations->json(out, *value.content_, layout);
  }
}

void AnyPrinter<Any>::cpp(std::ostream& out, const Any& value, Layout layout) {
  if (value.Empty()) {
    out << "null";
  } else {
    value.content_->operations->cpp(out, *value.content_, layout);
  }
}

void AnyPrinter<AnyMap>::text(std::ostream& out, const AnyMap& map) {
  AnyMapPrinter<AnyMap>::text(out, map);
}

void AnyPrinter<AnyMap>::json(std::ostream& out, const AnyMap& map, Layout layout) {
  AnyMapPrinter<AnyMap>::json(out, map, layout);
}

// The entries of this type of map are indented by one level more than those of others.
void AnyPrinter<AnyMap>::cpp(std::ostream& out, const AnyMap& map, Layout layout) {
  static constexpr const char* types[] = {"ORDERED_MAP", "UNORDERED_MAP", "UNORDERED_MAP_CASEINSENSITIVE_KEYS"};
  AnyMapPrinter<AnyMap>::cpp(out, map, types[map.GetType()], layout.nested(), layout.outer());
}

}  // namespace detail

std::ostream& newline_and_indent(std::ostream& out, std::uint8_t increment, std::int32_t indent) {
  if (increment > 0) {
    out << '\n' << std::string(indent > 0 ? static_cast<std::size_t>(indent) : 0, ' ');
  }
  return out;
}

}  // namespace cppmicroservices
