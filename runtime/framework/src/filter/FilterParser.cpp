#include "filter/FilterParser.hpp"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace cppmicroservices {

namespace {

constexpr std::string_view blanks = " \t\n\v\f\r";

class FilterParser {
 public:
  explicit FilterParser(std::string_view text) : rest_(text) {}

  FilterExpression parse() {
    if (rest_.empty()) {
      fail("Null query");
    }
    auto expression = parseExpression(1);
    if (rest_.find_first_not_of(' ') != std::string_view::npos) {
      fail("Trailing garbage '" + std::string(rest_) + "'");
    }
    return expression;
  }

 private:
  [[noreturn]] void fail(const std::string& reason) const {
    throw std::invalid_argument(reason + ": " + std::string(rest_));
  }

  void skipBlanks() {
    const auto next = rest_.find_first_not_of(blanks);
    rest_.remove_prefix(next == std::string_view::npos ? rest_.size() : next);
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

  FilterExpression parseExpression(int depth) {
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
    return sign == '&' || sign == '|' || sign == '!' ? parseOperation(depth) : parseComparison();
  }

  FilterExpression parseOperation(int depth) {
    using Kind = FilterExpression::Kind;
    FilterExpression expression;
    const char sign = take();
    expression.kind = sign == '&' ? Kind::all : sign == '|' ? Kind::any : Kind::none;
    do {
      expression.operands.push_back(parseExpression(depth + 1));
      skipBlanks();
    } while (peek() != ')');
    take();
    if (sign == '!' && expression.operands.size() > 1) {
      fail("Malformed query");
    }
    return expression;
  }

  FilterExpression parseComparison() {
    FilterExpression expression;
    expression.attribute = parseAttribute();
    expression.relation = parseRelation();
    expression.value = parseValue();
    return expression;
  }

  std::string parseAttribute() {
    const auto length = rest_.find_first_of("=<>~()");
    const auto attribute = rest_.substr(0, length);
    const auto last = attribute.find_last_not_of(blanks);
    if (length == std::string_view::npos) {
      rest_ = {};
      peek();
    }
    if (last == std::string_view::npos) {
      fail("Malformed query");
    }
    rest_.remove_prefix(length);
    return std::string(attribute.substr(0, last + 1));
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
  FilterValue parseValue() {
    FilterValue value;
    for (std::size_t open = 0; open > 0 || peek() != ')';) {
      const char c = take();
      open += c == '(' ? 1 : 0;
      open -= c == ')' ? 1 : 0;
      value.append(c == '*' ? FilterValue::wildcard : c == '\\' ? take() : c);
    }
    take();
    return value;
  }

  std::string_view rest_;
};

}  // namespace

FilterExpression parseFilter(const std::string& text) {
  return FilterParser(text).parse();
}

}  // namespace cppmicroservices
