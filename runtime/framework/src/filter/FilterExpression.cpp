#include "filter/FilterExpression.hpp"

#include <algorithm>

#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

char const* signOf(Relation relation) {
  switch (relation) {
    case Relation::approximate:
      return "~=";
    case Relation::atLeast:
      return ">=";
    case Relation::atMost:
      return "<=";
    case Relation::equal:
      break;
  }
  return "=";
}

char signOf(FilterExpression::Kind kind) {
  return kind == FilterExpression::Kind::all ? '&' : kind == FilterExpression::Kind::any ? '|' : '!';
}

}  // namespace

bool FilterExpression::matches(PropertyLookup const& lookup) const {
  auto const operandMatches = [&](FilterExpression const& operand) { return operand.matches(lookup); };
  switch (kind) {
    case Kind::all:
      return std::all_of(operands.begin(), operands.end(), operandMatches);
    case Kind::any:
      return std::any_of(operands.begin(), operands.end(), operandMatches);
    case Kind::none:
      return std::none_of(operands.begin(), operands.end(), operandMatches);
    case Kind::comparison:
      break;
  }
  auto const* property = lookup(attribute);
  return property && compares(*property, relation, value);
}

bool FilterExpression::fixes(std::string const& name) const {
  auto const operandFixes = [&](FilterExpression const& operand) { return operand.fixes(name); };
  switch (kind) {
    case Kind::all:
      return std::any_of(operands.begin(), operands.end(), operandFixes);
    case Kind::any:
      return std::all_of(operands.begin(), operands.end(), operandFixes);
    case Kind::none:
      return false;
    case Kind::comparison:
      break;
  }
  return relation == Relation::equal && !value.hasWildcards() && ascii::equalIgnoringCase(attribute, name);
}

void FilterExpression::print(std::string& text) const {
  text += '(';
  if (kind == Kind::comparison) {
    text += attribute + signOf(relation) + value.escaped();
  } else {
    text += signOf(kind);
    for (auto const& operand : operands) {
      operand.print(text);
    }
  }
  text += ')';
}

}  // namespace cppmicroservices
