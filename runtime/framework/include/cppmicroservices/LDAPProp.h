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

  LDAPPropExpr& operator|=(LDAPPropExpr const& right);
  LDAPPropExpr& operator&=(LDAPPropExpr const& right);

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

  LDAPPropExpr operator==(std::string const& value) const;
  LDAPPropExpr operator==(Any const& value) const;
  LDAPPropExpr operator==(bool value) const;
  template <class T>
  LDAPPropExpr operator==(T const& value) const {
    return compared("=", textOf(value));
  }

  LDAPPropExpr operator!=(std::string const& value) const;
  LDAPPropExpr operator!=(Any const& value) const;
  template <class T>
  LDAPPropExpr operator!=(T const& value) const {
    return *this != textOf(value);
  }

  LDAPPropExpr operator>=(std::string const& value) const;
  LDAPPropExpr operator>=(Any const& value) const;
  template <class T>
  LDAPPropExpr operator>=(T const& value) const {
    return *this >= textOf(value);
  }

  LDAPPropExpr operator<=(std::string const& value) const;
  LDAPPropExpr operator<=(Any const& value) const;
  template <class T>
  LDAPPropExpr operator<=(T const& value) const {
    return *this <= textOf(value);
  }

  LDAPPropExpr Approx(std::string const& value) const;
  LDAPPropExpr Approx(Any const& value) const;
  template <class T>
  LDAPPropExpr Approx(T const& value) const {
    return Approx(textOf(value));
  }

 private:
  LDAPProp& operator=(LDAPProp const&) = delete;

  template <class T>
  static std::string textOf(T const& value) {
    std::ostringstream text;
    text << value;
    return text.str();
  }

  LDAPPropExpr compared(char const* operation, std::string const& value) const;
  LDAPPropExpr comparedUnlessEmpty(char const* operation, std::string const& value) const;

  std::string property_;
};

}  // namespace cppmicroservices

/// Both have to hold; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator&&(cppmicroservices::LDAPPropExpr const& left,
                                                                         cppmicroservices::LDAPPropExpr const& right);

/// One of them has to hold; if one is null, the other one.
[[gnu::visibility("default")]] cppmicroservices::LDAPPropExpr operator||(cppmicroservices::LDAPPropExpr const& left,
                                                                         cppmicroservices::LDAPPropExpr const& right);
