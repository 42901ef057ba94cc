#include "filter/FilterExpression.hpp"

#include <algorithm>

#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

const char* signOf(Relation relation) {
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

bool FilterExpression::matches(const PropertyLookup& lookup) const {
  const auto operandMatches = [&](const FilterExpression& operand) { return operand.matches(lookup); };
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
  const auto* property = lookup(attribute);
  return property && compares(*property, relation, value);
}

bool FilterExpression::fixes(const std::string& name) const {
  const auto operandFixes = [&](const FilterExpression& operand) { return operand.fixes(name); };
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
    text += attribute;
    text += signOf(relation);
    value.print(text);
  } else {
    text += signOf(kind);
    for (const auto& operand : operands) {
      operand.print(text);
    }
  }
  text += ')';
}

}  // namespace cppmicroservices
