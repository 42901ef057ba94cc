#include "filter/ValueComparison.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <list>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "cppmicroservices/Any.h"
#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

bool compareText(const std::string& property, Relation relation, const FilterValue& value) {
  switch (relation) {
    case Relation::equal:
      return value.matches(property);
    case Relation::approximate:
      return value.isApproximately(property);
    case Relation::atLeast:
      return property >= value.text();
    case Relation::atMost:
      return property <= value.text();
  }
  return false;
}

// Any prefix of the two words matches.
bool compareBool(bool property, Relation relation, const FilterValue& value) {
  const std::string_view word = property ? "true" : "false";
  return (relation == Relation::equal || relation == Relation::approximate) && value.text().size() <= word.size() &&
         ascii::equalIgnoringCase(value.text(), word.substr(0, value.text().size()));
}

/// Returns whether a number that was parsed with a range error is just denormal.
bool isDenormal(long /*number*/) {
  return false;
}
bool isDenormal(double number) {
  return number != 0 && std::isfinite(number);
}

/// Parses the number at the beginning of the text and ignores the rest.
/// \return none if there is no number, or it is out of range
template <class Number, class Parse>
std::optional<Number> numberIn(const std::string& text, Parse parse) {
  char* end = nullptr;
  errno = 0;
  const Number number = parse(text.c_str(), &end);
  const bool isInRange = errno == 0 || isDenormal(number);
  return end != text.c_str() && isInRange ? std::optional<Number>(number) : std::nullopt;
}

template <class T>
bool compareInteger(T property, Relation relation, const FilterValue& value) {
  const auto number =
      numberIn<long>(value.text(), [](const char* text, char** end) { return std::strtol(text, end, 10); });
  if (!number) {
    return false;
  }
  const auto other = static_cast<T>(*number);
  switch (relation) {
    case Relation::atLeast:
      return property >= other;
    case Relation::atMost:
      return property <= other;
    default:
      return property == other;
  }
}

template <class T>
bool compareFloating(T property, Relation relation, const FilterValue& value) {
  const auto number =
      numberIn<double>(value.text(), [](const char* text, char** end) { return std::strtod(text, end); });
  if (!number) {
    return false;
  }
  switch (relation) {
    case Relation::atLeast:
      return property >= *number;
    case Relation::atMost:
      return property <= *number;
    default:
      return std::fabs(property - *number) < static_cast<double>(std::numeric_limits<T>::epsilon());
  }
}

bool compareValue(const std::string& property, Relation relation, const FilterValue& value) {
  return compareText(property, relation, value);
}

bool compareValue(const char* property, Relation relation, const FilterValue& value) {
  return property != nullptr && compareText(property, relation, value);
}

bool compareValue(const Any& property, Relation relation, const FilterValue& value) {
  return compares(property, relation, value);
}

template <class T>
std::enable_if_t<std::is_arithmetic_v<T>, bool> compareValue(T property, Relation relation, const FilterValue& value) {
  if constexpr (std::is_same_v<T, bool>) {
    return compareBool(property, relation, value);
  } else if constexpr (std::is_same_v<T, char>) {
    return compareText(std::string(1, property), relation, value);
  } else if constexpr (std::is_floating_point_v<T>) {
    return compareFloating(property, relation, value);
  } else {
    return compareInteger(property, relation, value);
  }
}

template <class Sequence>
auto compareValue(const Sequence& properties, Relation relation, const FilterValue& value)
    -> decltype(properties.begin(), bool()) {
  return std::any_of(properties.begin(), properties.end(),
                     [&](const auto& property) { return compareValue(property, relation, value); });
}

/// Compares if the property has exactly that type.
template <class T>
bool comparesAs(const Any& property, Relation relation, const FilterValue& value) {
  const auto* held = any_cast<T>(&property);
  return held && compareValue(*held, relation, value);
}

template <class... Types>
bool comparesAsAnyOf(const Any& property, Relation relation, const FilterValue& value) {
  // A type's name usually has one address in a process. Comparing addresses first avoids the comparison of texts with
  // every type before the right one.
  const auto* const name = property.Type().name();
  bool result = false;
  if (((name == typeid(Types).name() && (result = comparesAs<Types>(property, relation, value), true)) || ...)) {
    return result;
  }
  return (comparesAs<Types>(property, relation, value) || ...);
}

}  // namespace

bool compares(const Any& property, Relation relation, const FilterValue& value) {
  if (property.Empty()) {
    return false;
  }
  if (relation == Relation::equal && value.isPresence()) {
    return true;
  }
  return comparesAsAnyOf<std::string, int, long, std::vector<std::string>, std::vector<Any>, bool, double,
                         std::list<std::string>, const char*, char, float, short, long long, unsigned char,
                         unsigned short, unsigned int, unsigned long, unsigned long long>(property, relation, value);
}

}  // namespace cppmicroservices
