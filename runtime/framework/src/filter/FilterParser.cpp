#include "filter/FilterParser.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "filter/isBlank.hpp"

namespace cppmicroservices {

namespace {

bool isAttribute(char c) {
  return c != '=' && c != '<' && c != '>' && c != '~' && c != '(' && c != ')';
}

bool isPlain(char c) {
  return c != '(' && c != ')' && c != '*' && c != '\\';
}

class FilterParser {
 public:
  explicit FilterParser(std::string_view text) : rest_(text) {}

  FilterExpression parse() {
    if (rest_.empty()) {
      fail("Null query");
    }
    FilterExpression expression;
    parseExpression(expression, 1);
    if (rest_.find_first_not_of(' ') != std::string_view::npos) {
      fail("Trailing garbage '" + std::string(rest_) + "'");
    }
    return expression;
  }

 private:
  [[noreturn]] void fail(const std::string& reason) const {
    throw std::invalid_argument(reason + ": " + std::string(rest_));
  }

  void skipBlanks() { takeWhile(isBlank); }

  // Filters are short: a loop costs less than a search of the library's, which is a call for each byte.
  template <class Predicate>
  std::string_view takeWhile(Predicate predicate) {
    const auto* const end = std::find_if_not(rest_.begin(), rest_.end(), predicate);
    const auto taken = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
    rest_.remove_prefix(taken.size());
    return taken;
  }

  char peek() const {
    if (rest_.empty()) {
      fail("Unexpected end of query");
    }
    return rest_.front();
  }

  char take() {
    const char c = peek();
    rest_.remove_prefix(1);
    return c;
  }

  void parseExpression(FilterExpression& expression, int depth) {
    skipBlanks();
    if (peek() != '(') {
      fail("Malformed query");
    }
    if (depth > maxFilterDepth) {
      fail("Query nested deeper than " + std::to_string(maxFilterDepth));
    }
    take();
    skipBlanks();
    const char sign = peek();
    if (sign == '&' || sign == '|' || sign == '!') {
      parseOperation(expression, depth);
    } else {
      parseComparison(expression);
    }
  }

  void parseOperation(FilterExpression& expression, int depth) {
    using Kind = FilterExpression::Kind;
    const char sign = take();
    expression.kind = sign == '&' ? Kind::all : sign == '|' ? Kind::any : Kind::none;
    expression.operands.reserve(sign == '!' ? 1 : 2);
    do {
      parseExpression(expression.operands.emplace_back(), depth + 1);
      skipBlanks();
    } while (peek() != ')');
    take();
    if (sign == '!' && expression.operands.size() > 1) {
      fail("Malformed query");
    }
  }

  void parseComparison(FilterExpression& expression) {
    expression.attribute = parseAttribute();
    expression.relation = parseRelation();
    parseValue(expression.value);
  }

  std::string parseAttribute() {
    const auto before = rest_;
    auto attribute = takeWhile(isAttribute);
    peek();
    while (!attribute.empty() && isBlank(attribute.back())) {
      attribute.remove_suffix(1);
    }
    if (attribute.empty()) {
      rest_ = before;
      fail("Malformed query");
    }
    return std::string(attribute);
  }

  Relation parseRelation() {
    static constexpr std::pair<std::string_view, Relation> relations[] = {
        {"=", Relation::equal}, {"~=", Relation::approximate}, {">=", Relation::atLeast}, {"<=", Relation::atMost}};
    for (const auto& [sign, relation] : relations) {
      if (rest_.substr(0, sign.size()) == sign) {
        rest_.remove_prefix(sign.size());
        return relation;
      }
    }
    fail("Undefined operator");
  }

  // Parentheses belong to the value as long as they are in pairs.
  void parseValue(FilterValue& value) {
    value.append(takeWhile(isPlain));
    for (std::size_t open = 0; open > 0 || peek() != ')'; value.append(takeWhile(isPlain))) {
      const char c = take();
      open += c == '(' ? 1 : 0;
      open -= c == ')' ? 1 : 0;
      value.append(c == '*' ? FilterValue::wildcard : c == '\\' ? take() : c);
    }
    take();
  }

  std::string_view rest_;
};

}  // namespace

FilterExpression parseFilter(const std::string& text) {
  return FilterParser(text).parse();
}

}  // namespace cppmicroservices
