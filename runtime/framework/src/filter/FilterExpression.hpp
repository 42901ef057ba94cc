#pragma once

#include <string>
#include <vector>

#include "filter/FilterValue.hpp"
#include "filter/PropertyLookup.hpp"
#include "filter/ValueComparison.hpp"

namespace cppmicroservices {

/// A parsed filter or a part of one.
struct FilterExpression {
  enum class Kind { comparison, all, any, none };

  /// Returns whether the properties that the look-up finds match.
  bool matches(const PropertyLookup& lookup) const;

  /// Returns whether a match requires that the attribute, in any case, equals one of some texts without wildcards.
  bool fixes(const std::string& name) const;

  /// Appends the expression without insignificant blanks.
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
