#include "filter/FilterExpression.hpp"

#include <algorithm>

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
