#include "cppmicroservices/LDAPProp.h"

#include <stdexcept>
#include <utility>

namespace cppmicroservices {

LDAPPropExpr::LDAPPropExpr(std::string expression) : expression_(std::move(expression)) {}

LDAPPropExpr& LDAPPropExpr::operator!() {
  if (!IsNull()) {
    expression_ = "(!" + expression_ + ")";
  }
  return *this;
}

LDAPPropExpr& LDAPPropExpr::operator|=(const LDAPPropExpr& right) {
  return *this = *this || right;
}

LDAPPropExpr& LDAPPropExpr::operator&=(const LDAPPropExpr& right) {
  return *this = *this && right;
}

LDAPProp::LDAPProp(std::string property) : property_(std::move(property)) {
  if (property_.empty()) {
    throw std::invalid_argument("property must not be empty");
  }
}

LDAPProp::operator LDAPPropExpr() const {
  return compared("=", "*");
}

LDAPPropExpr LDAPProp::operator!() const {
  LDAPPropExpr present = *this;
  return !present;
}

LDAPPropExpr LDAPProp::operator==(const std::string& value) const {
  return comparedUnlessEmpty("=", value);
}

LDAPPropExpr LDAPProp::operator==(const Any& value) const {
  return *this == value.ToString();
}

LDAPPropExpr LDAPProp::operator==(bool value) const {
  return compared("=", value ? "true" : "false");
}

LDAPPropExpr LDAPProp::operator!=(const std::string& value) const {
  LDAPPropExpr equal = *this == value;
  return !equal;
}

LDAPPropExpr LDAPProp::operator!=(const Any& value) const {
  return *this != value.ToString();
}

LDAPPropExpr LDAPProp::operator>=(const std::string& value) const {
  return comparedUnlessEmpty(">=", value);
}

LDAPPropExpr LDAPProp::operator>=(const Any& value) const {
  return *this >= value.ToString();
}

LDAPPropExpr LDAPProp::operator<=(const std::string& value) const {
  return comparedUnlessEmpty("<=", value);
}

LDAPPropExpr LDAPProp::operator<=(const Any& value) const {
  return *this <= value.ToString();
}

LDAPPropExpr LDAPProp::Approx(const std::string& value) const {
  return comparedUnlessEmpty("~=", value);
}

LDAPPropExpr LDAPProp::Approx(const Any& value) const {
  return Approx(value.ToString());
}

LDAPPropExpr LDAPProp::compared(const char* operation, const std::string& value) const {
  return LDAPPropExpr("(" + property_ + operation + value + ")");
}

LDAPPropExpr LDAPProp::comparedUnlessEmpty(const char* operation, const std::string& value) const {
  return value.empty() ? LDAPPropExpr() : compared(operation, value);
}

}  // namespace cppmicroservices

namespace {

cppmicroservices::LDAPPropExpr combined(char sign, const cppmicroservices::LDAPPropExpr& left,
                                        const cppmicroservices::LDAPPropExpr& right) {
  if (left.IsNull() || right.IsNull()) {
    return left.IsNull() ? right : left;
  }
  return cppmicroservices::LDAPPropExpr(std::string("(") + sign + std::string(left) + std::string(right) + ")");
}

}  // namespace

cppmicroservices::LDAPPropExpr operator&&(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right) {
  return combined('&', left, right);
}

cppmicroservices::LDAPPropExpr operator||(const cppmicroservices::LDAPPropExpr& left,
                                          const cppmicroservices::LDAPPropExpr& right) {
  return combined('|', left, right);
}
