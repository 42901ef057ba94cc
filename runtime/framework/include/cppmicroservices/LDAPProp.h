#pragma once

#include <sstream>
#include <string>

#include "cppmicroservices/Any.h"

namespace cppmicroservices {

/// The text of a filter under construction; may be null, which the operators pass over.
class [[gnu::visibility("default")]] LDAPPropExpr {
 public:
  LDAPPropExpr() = default;
  explicit LDAPPropExpr(std::string expression);

  /// Negates this very expression.
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

/// A property's name, from which comparisons make the text of a filter:
/// `LDAPProp("unit") == "celsius" && LDAPProp("rank") >= 5`.
/// Values go into the text as they are: nothing is escaped, `*` stays a wildcard. Comparing with an
/// empty std::string gives a null expression.
class [[gnu::visibility("default")]] LDAPProp {
 public:
  /// \throws std::invalid_argument if the name is empty
  LDAPProp(std::string property);

  /// The presence of the property.
  operator LDAPPropExpr() const;
  /// Its absence.
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

/// Both have to hold; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator&&(const cppmicroservices::LDAPPropExpr& left,
                                                                         const cppmicroservices::LDAPPropExpr& right);

/// One of them has to hold; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator||(const cppmicroservices::LDAPPropExpr& left,
                                                                         const cppmicroservices::LDAPPropExpr& right);
