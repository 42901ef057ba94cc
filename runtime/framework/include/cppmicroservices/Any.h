#pragma once

// These are more than this header needs: programs rely on getting them with it.
#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iomanip>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "cppmicroservices/detail/AnyContent.h"

namespace cppmicroservices {

/// A value of any type that can be copied and streamed with `operator<<`, or none.
///
/// The held type is the decayed type of the given value. It is never converted: only a cast to exactly that type
/// succeeds. Copies are deep; a moved-from Any is empty and can be used again. A move neither copies nor moves the
/// held value: pointers to it stay valid. Different objects may be used by different threads.
class [[gnu::visibility("default")]] Any {
 public:
  Any() noexcept {}  // not defaulted, so that there may be a constant empty one

  /// Holds a copy of the value, or the value itself if it may be moved.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, Any>>>
  Any(T && value) : content_(contentOf(std::forward<T>(value))) {}

  Any(const Any& other) : content_(other.content_ ? other.content_->operations->copy(*other.content_) : nullptr) {}
  Any(Any && other) noexcept : content_(std::exchange(other.content_, nullptr)) {}
  ~Any() {
    if (content_) {
      content_->operations->destroy(*content_);
    }
  }

  // The assigned value may be part of the old value, so the old value is destroyed last.
  Any& operator=(const Any& other) {
    Any copy(other);
    return Swap(copy);
  }
  Any& operator=(Any&& other) noexcept {
    Any taken(std::move(other));
    return Swap(taken);
  }

  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, Any>>>
  Any& operator=(T&& value) {
    return *this = Any(std::forward<T>(value));
  }

  Any& Swap(Any & other) noexcept {
    std::swap(content_, other.content_);
    return *this;
  }

  /// Returns whether a value of exactly that type is held and compares equal by its own `==`. Values of a type without
  /// `==` are never equal.
  template <class T>
  bool operator==(const T& value) const {
    if constexpr (std::is_array_v<T>) {
      return false;
    } else {
      return Type() == typeid(T) && detail::AnyHolder<T>::equal(detail::AnyHolder<T>::from(*content_).value, value);
    }
  }

  /// Returns whether both hold values of one type that compare equal. An empty Any equals nothing, not even another
  /// empty one.
  bool operator==(const Any& other) const;

  template <class T>
  bool operator!=(const T& value) const {
    return !(*this == value);
  }

  bool Empty() const noexcept {
    return content_ == nullptr;
  }

  /// Returns the held type; `typeid(void)` if the Any is empty.
  const std::type_info& Type() const noexcept {
    return content_ ? *content_->operations->type : typeid(void);
  }

  /// Returns the value as text: strings unchanged, `bool` as 1 or 0, floating point numbers with twelve digits, `[a,b]`
  /// for a vector, list or set, `{k : v, l : w}` for a map.
  /// \throws std::logic_error if this Any, or one inside the held container, is empty
  std::string ToString() const;

  /// Returns the text of ToString(), but an empty one if this Any itself is empty.
  std::string ToStringNoExcept() const;

  /// Returns the value as JSON; `null` if empty. Keys are not escaped.
  /// \param prettyPrint  one element per line, indented by four blanks for each level
  std::string ToJSON(bool prettyPrint = false) const;

  /// Returns the value as JSON with a given indentation.
  /// \param increment  blanks added for each level; 0 for everything on one line
  /// \param indent     blanks before the outermost elements
  std::string ToJSON(std::uint8_t increment, std::int32_t indent) const;

  /// Returns the value as C++ source, with `AnyVector` for vectors, lists and sets; `null` if empty. Keys are not
  /// escaped. The parameters are those of ToJSON().
  std::string ToCPP(bool prettyPrint = false) const;
  std::string ToCPP(std::uint8_t increment, std::int32_t indent) const;

 private:
  template <class T>
  friend T* any_cast(Any*);
  template <class T>
  friend T* unsafe_any_cast(Any*);
  friend struct detail::AnyPrinter<Any>;

  template <class T>
  static detail::AnyContent* contentOf(T && value) {
    using Held = std::decay_t<T>;
    static_assert(!std::is_array_v<std::remove_reference_t<T>>,
                  "an Any cannot hold an array; a string literal has to be made a std::string first");
    static_assert(std::is_copy_constructible_v<Held>, "an Any can only hold what can be copied");
    return new detail::AnyHolder<Held>(std::forward<T>(value));
  }

  detail::AnyContent* content_ = nullptr;  // owned
};

/// Reports a cast to a type that is not the held one.
class [[gnu::visibility("default")]] BadAnyCastException : public std::bad_cast {
 public:
  explicit BadAnyCastException(std::string message = {}) : message_(std::move(message)) {}
  ~BadAnyCastException() override;

  const char* what() const noexcept override;

 private:
  std::string message_;
};

namespace detail {
[[noreturn, gnu::visibility("default")]] void throwBadAnyCast(const char* function, const std::type_info& held,
                                                              const std::type_info& wanted);
}  // namespace detail

/// Returns the held value without checking that its type is T.
template <class T>
T* unsafe_any_cast(Any* any) {
  return &static_cast<detail::AnyHolder<std::remove_const_t<T>>*>(any->content_)->value;
}

template <class T>
const T* unsafe_any_cast(const Any* any) {
  return unsafe_any_cast<T>(const_cast<Any*>(any));
}

/// Returns the address of the held value; null if its type is another one, or the Any is empty or null.
template <class T>
T* any_cast(Any* any) {
  static_assert(!std::is_reference_v<T>, "use ref_any_cast to refer to the held value");
  return any && any->Type() == typeid(T) ? unsafe_any_cast<T>(any) : nullptr;
}

template <class T>
const T* any_cast(const Any* any) {
  return any_cast<T>(const_cast<Any*>(any));
}

/// Returns a reference to the held value.
/// \throws BadAnyCastException if its type is another one or the Any is empty
template <class T>
T& ref_any_cast(Any& any) {
  if (T* value = any_cast<T>(&any)) {
    return *value;
  }
  detail::throwBadAnyCast("ref_any_cast", any.Type(), typeid(T));
}

template <class T>
const T& ref_any_cast(const Any& any) {
  return ref_any_cast<T>(const_cast<Any&>(any));
}

/// Returns a copy of the held value.
/// \throws BadAnyCastException if its type is another one or the Any is empty
template <class T>
T any_cast(const Any& any) {
  static_assert(!std::is_reference_v<T>, "use ref_any_cast to refer to the held value");
  if (const auto* value = any_cast<T>(&any)) {
    return *value;
  }
  detail::throwBadAnyCast("any_cast", any.Type(), typeid(T));
}

template <class T>
T any_cast(Any& any) {
  return any_cast<T>(static_cast<const Any&>(any));
}

}  // namespace cppmicroservices
