#pragma once

#include <ostream>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "cppmicroservices/detail/AnyPrinter.h"

namespace cppmicroservices::detail {

template <class T, class = void>
inline constexpr bool hasEquality = false;
template <class T>
inline constexpr bool
    hasEquality<T, std::void_t<decltype(char(std::declval<const T&>() == std::declval<const T&>()))>> = true;

struct AnyContent;

/// The operations of an Any on the value that it holds.
struct AnyOperations {
  const std::type_info* type;
  AnyContent* (*copy)(const AnyContent& content);
  void (*destroy)(AnyContent& content);
  bool (*equal)(const AnyContent& left, const AnyContent& right);
  void (*text)(std::ostream& out, const AnyContent& content);
  void (*json)(std::ostream& out, const AnyContent& content, Layout layout);
  void (*cpp)(std::ostream& out, const AnyContent& content, Layout layout);
};

/// The value that an Any holds. It always has an allocation of its own, so that it stays where it is when the Any
/// is moved.
struct AnyContent {
  const AnyOperations* const operations;
};

template <class T>
struct AnyHolder : AnyContent {
  template <class Value>
  explicit AnyHolder(Value&& given) : AnyContent{&table}, value(std::forward<Value>(given)) {}

  static const AnyHolder& from(const AnyContent& content) { return static_cast<const AnyHolder&>(content); }

  static AnyContent* copy(const AnyContent& content) { return new AnyHolder(from(content).value); }

  static void destroy(AnyContent& content) { delete &static_cast<AnyHolder&>(content); }

  static bool equal(const T& left, const T& right) {
    if constexpr (hasEquality<T>) {
      return left == right;
    } else {
      return false;
    }
  }

  static bool equalContent(const AnyContent& left, const AnyContent& right) {
    return equal(from(left).value, from(right).value);
  }

  // Called without a namespace, so that a type's own overloads are found.
  static void text(std::ostream& out, const AnyContent& content) { any_value_to_string(out, from(content).value); }

  static void json(std::ostream& out, const AnyContent& content, Layout layout) {
    any_value_to_json(out, from(content).value, layout.increment, layout.indent);
  }

  static void cpp(std::ostream& out, const AnyContent& content, Layout layout) {
    any_value_to_cpp(out, from(content).value, layout.increment, layout.indent);
  }

  static constexpr AnyOperations table{&typeid(T), &copy, &destroy, &equalContent, &text, &json, &cpp};

  T value;
};

}  // namespace cppmicroservices::detail
