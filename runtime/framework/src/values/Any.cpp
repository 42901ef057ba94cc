#include "cppmicroservices/Any.h"

#include <cxxabi.h>

#include <cstdlib>
#include <locale>
#include <memory>
#include <optional>
#include <sstream>

#include "values/QuotedText.hpp"

namespace cppmicroservices {

namespace {

/// Returns the digits of a held integer, unless the global locale may separate or replace them. Makes no stream, whose
/// construction costs far more than its use.
std::optional<std::string> integerText(const Any& any) {
  const auto* const number = any_cast<int>(&any);
  const auto* const longNumber = number ? nullptr : any_cast<long>(&any);
  if ((!number && !longNumber) || std::locale() != std::locale::classic()) {
    return std::nullopt;
  }
  return number ? std::to_string(*number) : std::to_string(*longNumber);
}

}  // namespace

bool Any::operator==(const Any& other) const {
  if (Empty() || other.Empty()) {
    return false;
  }
  const auto* const operations = content_->operations;
  const bool isSameType =
      operations == other.content_->operations || *operations->type == *other.content_->operations->type;
  return isSameType && operations->equal(*content_, *other.content_);
}

std::string Any::ToString() const {
  if (const auto* const text = any_cast<std::string>(this)) {
    return *text;
  }
  if (auto digits = integerText(*this)) {
    return *std::move(digits);
  }
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
  if (const auto* const text = any_cast<std::string>(this)) {
    return detail::quoted(*text);
  }
  if (auto digits = integerText(*this)) {
    return *std::move(digits);
  }
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
