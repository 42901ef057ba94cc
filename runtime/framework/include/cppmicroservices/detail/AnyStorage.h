#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "cppmicroservices/detail/AnyPrinter.h"

namespace cppmicroservices::detail {

/// Room for a small value, or the address of a large one.
union AnyStorage {
  static constexpr std::size_t size = 4 * sizeof(void*);

  alignas(void*) unsigned char small[size];
  void* large;
};

template <class T>
inline constexpr bool isStoredInline = sizeof(T) <= AnyStorage::size &&
                                       alignof(T) <= alignof(AnyStorage) && std::is_nothrow_move_constructible_v<T>;

/// Whether copying and moving the storage's bytes is all that the value needs.
template <class T>
inline constexpr bool isStoredAsBytes = isStoredInline<T>&& std::is_trivially_copyable_v<T>;

template <class T, class = void>
inline constexpr bool hasEquality = false;
template <class T>
inline constexpr bool
    hasEquality<T, std::void_t<decltype(char(std::declval<T const&>() == std::declval<T const&>()))>> = true;

/// What an Any can do with the value it holds. A null `copy`, `move` and `destroy` stand for "the
/// bytes of the storage are the value".
struct AnyOperations {
  std::type_info const* type;
  bool isInline;
  void (*copy)(AnyStorage const& from, AnyStorage& to);
  void (*move)(AnyStorage& from, AnyStorage& to);
  void (*destroy)(AnyStorage& storage);
  bool (*equal)(void const* left, void const* right);
  void (*text)(std::ostream& out, void const* value);
  void (*json)(std::ostream& out, void const* value, Layout layout);
  void (*cpp)(std::ostream& out, void const* value, Layout layout);
};

template <class T>
struct AnyHandler {
  static T* object(AnyStorage& storage) {
    if constexpr (isStoredInline<T>) {
      return std::launder(reinterpret_cast<T*>(storage.small));
    } else {
      return static_cast<T*>(storage.large);
    }
  }

  template <class... Args>
  static void create(AnyStorage& storage, Args&&... args) {
    if constexpr (isStoredInline<T>) {
      ::new (static_cast<void*>(storage.small)) T(std::forward<Args>(args)...);
    } else {
      storage.large = new T(std::forward<Args>(args)...);
    }
  }

  static void copy(AnyStorage const& from, AnyStorage& to) {
    T const& value = *object(const_cast<AnyStorage&>(from));
    create(to, value);
  }

  static void move(AnyStorage& from, AnyStorage& to) {
    if constexpr (isStoredInline<T>) {
      create(to, std::move(*object(from)));
      destroy(from);
    } else {
      to.large = from.large;
    }
  }

  static void destroy(AnyStorage& storage) {
    if constexpr (isStoredInline<T>) {
      object(storage)->~T();
    } else {
      delete object(storage);
    }
  }

  static bool equal(void const* left, void const* right) {
    if constexpr (hasEquality<T>) {
      return *static_cast<T const*>(left) == *static_cast<T const*>(right);
    } else {
      return false;
    }
  }

  // Called by their plain names, so that a type's own overloads are found.
  static void text(std::ostream& out, void const* value) { any_value_to_string(out, *static_cast<T const*>(value)); }

  static void json(std::ostream& out, void const* value, Layout layout) {
    any_value_to_json(out, *static_cast<T const*>(value), layout.increment, layout.indent);
  }

  static void cpp(std::ostream& out, void const* value, Layout layout) {
    any_value_to_cpp(out, *static_cast<T const*>(value), layout.increment, layout.indent);
  }

  static constexpr AnyOperations operations{&typeid(T),
                                            isStoredInline<T>,
                                            isStoredAsBytes<T> ? nullptr : &copy,
                                            isStoredAsBytes<T> ? nullptr : &move,
                                            isStoredAsBytes<T> ? nullptr : &destroy,
                                            &equal,
                                            &text,
                                            &json,
                                            &cpp};
};

}  // namespace cppmicroservices::detail
