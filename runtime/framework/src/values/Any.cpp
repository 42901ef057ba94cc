#include "cppmicroservices/Any.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <sstream>

namespace cppmicroservices {

bool Any::operator==(const Any& other) const {
  return !Empty() && !other.Empty() && Type() == other.Type() &&
         content_->operations->equal(*content_, *other.content_);
}

std::string Any::ToString() const {
  std::ostringstream out;
  detail::AnyPrinter<Any>::text(out, *this);
  return out.str();
}

std::string Any::ToStringNoExcept() const {
  return Empty() ? std::string() : ToString();
}

std::string Any::ToJSON(bool prettyPrint) const {
  const std::uint8_t increment = prettyPrint ? 4 : 0;
  return ToJSON(increment, increment);
}

std::string Any::ToJSON(std::uint8_t increment, std::int32_t indent) const {
  std::ostringstream out;
  detail::AnyPrinter<Any>::json(out, *this, {increment, indent});
  return out.str();
}

std::string Any::ToCPP(bool prettyPrint) const {
  const std::uint8_t increment = prettyPrint ? 4 : 0;
  return ToCPP(increment, increment);
}

std::string Any::ToCPP(std::uint8_t increment, std::int32_t indent) const {
  std::ostringstream out;
  detail::AnyPrinter<Any>::cpp(out, *this, {increment, indent});
  return out.str();
}

BadAnyCastException::~BadAnyCastException() = default;

const char* BadAnyCastException::what() const noexcept {
  return message_.empty() ? "cppmicroservices::BadAnyCastException: the value is of another type" : message_.c_str();
}

namespace detail {

namespace {

std::string nameOf(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> const name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                    std::free);
  return status == 0 ? name.get() : type.name();
}

}  // namespace

void throwBadAnyCast(const char* function, const std::type_info& held, const std::type_info& wanted) {
  throw BadAnyCastException("cppmicroservices::BadAnyCastException: " + std::string(function) +
                            ": Failed to convert from cppmicroservices::Any type " + nameOf(held) + " to target type " +
                            nameOf(wanted));
}

}  // namespace detail
}  // namespace cppmicroservices
