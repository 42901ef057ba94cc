#pragma once

#include <sstream>
#include <string>

#include "cppmicroservices/Any.h"

namespace cppmicroservices {

/// The text of a filter under construction. It may be null; the operators then ignore it.
class [[gnu::visibility("default")]] LDAPPropExpr {
 public:
  LDAPPropExpr() = default;
  explicit LDAPPropExpr(std::string expression);

  /// Returns the negation of this expression.
  LDAPPropExpr& operator!();

  operator std::string() const {
    return expression_;
  }
  bool IsNull() const {
    return expression_.empty();
  }

  LDAPPropExpr& operator|=(const LDAPPropExpr& right);
  LDAPPropExpr& operator&=(const LDAPPropExpr& right);

 private:
  std::string expression_;
};

/// A property's name. Comparing it with values makes the text of a filter:
/// `LDAPProp("unit") == "celsius" && LDAPProp("rank") >= 5`.
/// Values are inserted unchanged: nothing is escaped, and `*` stays a wildcard. Comparing with an empty std::string
/// makes a null expression.
class [[gnu::visibility("default")]] LDAPProp {
 public:
  /// \throws std::invalid_argument if the name is empty
  LDAPProp(std::string property);

  /// Makes a filter that matches if the property is present.
  operator LDAPPropExpr() const;
  /// Makes a filter that matches if the property is absent.
  LDAPPropExpr operator!() const;

  LDAPPropExpr operator==(const std::string& value) const;
  LDAPPropExpr operator==(const Any& value) const;
  LDAPPropExpr operator==(bool value) const;
  template <class T>
  LDAPPropExpr operator==(const T& value) const {
    return compared("=", textOf(value));
  }

  LDAPPropExpr operator!=(const std::string& value) const;
  LDAPPropExpr operator!=(const Any& value) const;
  template <class T>
  LDAPPropExpr operator!=(const T& value) const {
    return *this != textOf(value);
  }

  LDAPPropExpr operator>=(const std::string& value) const;
  LDAPPropExpr operator>=(const Any& value) const;
  template <class T>
  LDAPPropExpr operator>=(const T& value) const {
    return *this >= textOf(value);
  }

  LDAPPropExpr operator<=(const std::string& value) const;
  LDAPPropExpr operator<=(const Any& value) const;
  template <class T>
  LDAPPropExpr operator<=(const T& value) const {
    return *this <= textOf(value);
  }

  LDAPPropExpr Approx(const std::string& value) const;
  LDAPPropExpr Approx(const Any& value) const;
  template <class T>
  LDAPPropExpr Approx(const T& value) const {
    return Approx(textOf(value));
  }

 private:
  LDAPProp& operator=(const LDAPProp&) = delete;

  template <class T>
  static std::string textOf(const T& value) {
    std::ostringstream text;
    text << value;
    return text.str();
  }

  LDAPPropExpr compared(const char* operation, const std::string& value) const;
  LDAPPropExpr comparedUnlessEmpty(const char* operation, const std::string& value) const;

  std::string property_;
};

}  // namespace cppmicroservices

/// Returns a filter that matches if both match; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator&&(const cppmicroservices::LDAPPropExpr& left,
                                                                         const cppmicroservices::LDAPPropExpr& right);

/// Returns a filter that matches if one of them matches; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator||(const cppmicroservices::LDAPPropExpr& left,
                                                                         const cppmicroservices::LDAPPropExpr& right);
