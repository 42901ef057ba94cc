#pragma once

#include <string>
#include <vector>

#include "filter/FilterValue.hpp"
#include "filter/PropertyLookup.hpp"
#include "filter/ValueComparison.hpp"

namespace cppmicroservices {

/// A parsed filter, or a part of one.
struct FilterExpression {
  enum class Kind { comparison, all, any, none };

  /// Whether the properties that the look-up finds match.
  bool matches(const PropertyLookup& lookup) const;

  /// Whether it only matches where that attribute, in any spelling, equals one of some texts without wildcards.
  bool fixes(const std::string& name) const;

  /// Appends the expression without the blanks that mean nothing.
  void print(std::string& text) const;

  Kind kind = Kind::comparison;
  // Of a comparison:
  std::string attribute;
  Relation relation = Relation::equal;
  FilterValue value;
  // Of the others:
  std::vector<FilterExpression> operands;
};

}  // namespace cppmicroservices
