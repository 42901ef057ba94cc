#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <map>
#include <string>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <variant>

#include "cppmicroservices/Any.h"

namespace cppmicroservices {

namespace detail {

// Neither is noexcept: the standard library keeps the hash of a key only if computing it might throw.

/// Hashes the key's bytes with A to Z folded to a to z.
struct [[gnu::visibility("default")]] any_map_cihash {
  std::size_t operator()(const std::string& key) const;
};

/// Compares bytes with A to Z folded to a to z.
struct [[gnu::visibility("default")]] any_map_ciequal {
  bool operator()(const std::string& left, const std::string& right) const;
};

}  // namespace detail

/// A map from text to Any of one of three types, chosen at construction: ordered, hashed, or hashed with keys whose
/// ASCII letters compare without regard to case. A moved-from map is an empty map of its type.
class [[gnu::visibility("default")]] any_map {
 public:
  using key_type = std::string;
  using mapped_type = Any;
  using value_type = std::pair<const key_type, mapped_type>;
  using size_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using reference = value_type&;
  using const_reference = const value_type&;
  using pointer = value_type*;
  using const_pointer = const value_type*;
  using ordered_any_map = std::map<std::string, Any>;
  using unordered_any_map = std::unordered_map<std::string, Any>;
  using unordered_any_cimap = std::unordered_map<std::string, Any, detail::any_map_cihash, detail::any_map_ciequal>;

  enum map_type : std::uint8_t { ORDERED_MAP, UNORDERED_MAP, UNORDERED_MAP_CASEINSENSITIVE_KEYS };

 private:
  using Storage = std::variant<ordered_any_map, unordered_any_map, unordered_any_cimap>;
  // The index of a position's alternative is one more than that of the map's.
  using Position = std::variant<std::monostate, ordered_any_map::iterator, unordered_any_map::iterator,
                                unordered_any_cimap::iterator>;
  using ConstPosition = std::variant<std::monostate, ordered_any_map::const_iterator, unordered_any_map::const_iterator,
                                     unordered_any_cimap::const_iterator>;

 public:
  class const_iter;

  /// Iterates over entries and lets their values be changed. Default constructed iterators are equal; they throw
  /// std::logic_error when they are dereferenced or incremented.
  class [[gnu::visibility("default")]] iter {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = any_map::value_type;
    using difference_type = any_map::difference_type;
    using reference = any_map::reference;
    using pointer = any_map::pointer;

    iter() = default;

    reference operator*() const;
    pointer operator->() const {
      return &**this;
    }
    iter& operator++();
    iter operator++(int);
    bool operator==(const iter& other) const {
      return position_ == other.position_;
    }
    bool operator!=(const iter& other) const {
      return !(*this == other);
    }

   private:
    friend class any_map;
    friend class const_iter;
    explicit iter(Position position) : position_(position) {}

    Position position_;
  };

  /// Iterates over constant entries; otherwise as iter.
  class [[gnu::visibility("default")]] const_iter {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = any_map::value_type;
    using difference_type = any_map::difference_type;
    using reference = any_map::const_reference;
    using pointer = any_map::const_pointer;

    const_iter() = default;
    const_iter(const iter& other);

    reference operator*() const;
    pointer operator->() const {
      return &**this;
    }
    const_iter& operator++();
    const_iter operator++(int);
    bool operator==(const const_iter& other) const {
      return position_ == other.position_;
    }
    bool operator!=(const const_iter& other) const {
      return !(*this == other);
    }

   private:
    friend class any_map;
    explicit const_iter(ConstPosition position) : position_(position) {}

    ConstPosition position_;
  };

  using iterator = iter;
  using const_iterator = const_iter;

  /// Makes a map of the entries; of those with one key it takes the first.
  any_map(map_type type, std::initializer_list<value_type> entries = {});
  any_map(const ordered_any_map& map);
  any_map(ordered_any_map && map);
  any_map(const unordered_any_map& map);
  any_map(unordered_any_map && map);
  any_map(const unordered_any_cimap& map);
  any_map(unordered_any_cimap && map);

  any_map(const any_map& other);
  any_map(any_map && other) noexcept;
  any_map& operator=(const any_map& other);
  any_map& operator=(any_map&& other) noexcept;
  ~any_map();

  iter begin();
  const_iter begin() const;
  const_iter cbegin() const {
    return begin();
  }
  iter end();
  const_iter end() const;
  const_iter cend() const {
    return end();
  }

  bool empty() const {
    return size() == 0;
  }
  size_type size() const;
  size_type count(const key_type& key) const;
  void clear();

  /// Returns the value of the key.
  /// \throws std::out_of_range if there is no such key
  mapped_type& at(const key_type& key);
  const mapped_type& at(const key_type& key) const;

  /// Returns the value of the key; adds an empty one if there is no such key.
  mapped_type& operator[](const key_type& key);
  mapped_type& operator[](key_type&& key);

  /// Adds an entry unless there is one with that key.
  /// \return the position of the key's entry, and whether it was added
  std::pair<iterator, bool> insert(const value_type& value);

  template <class... Args>
  std::pair<iterator, bool> emplace(Args && ... args) {
    return add(std::pair<key_type, mapped_type>(std::forward<Args>(args)...));
  }

  const_iter find(const key_type& key) const;

  /// Returns how many entries were removed.
  size_type erase(const key_type& key);

  /// Returns whether the maps have the same type, exactly the same keys, and equal values.
  bool operator==(const any_map& other) const;
  bool operator!=(const any_map& other) const {
    return !(*this == other);
  }

 protected:
  map_type type() const noexcept {
    return static_cast<map_type>(storage_.index());
  }

 private:
  std::pair<iterator, bool> add(std::pair<key_type, mapped_type> && entry);

  Storage storage_;
};

/// The map type of properties, manifests and configurations.
class [[gnu::visibility("default")]] AnyMap : public any_map {
 public:
  /// Makes a map whose keys are compared without regard to case.
  AnyMap(std::initializer_list<value_type> entries = {});
  AnyMap(map_type type, std::initializer_list<value_type> entries = {});
  AnyMap(const ordered_any_map& map);
  AnyMap(ordered_any_map && map);
  AnyMap(const unordered_any_map& map);
  AnyMap(unordered_any_map && map);
  AnyMap(const unordered_any_cimap& map);
  AnyMap(unordered_any_cimap && map);

  map_type GetType() const noexcept {
    return type();
  }

  /// Finds a value in nested AnyMap and std::vector<Any> values. The key is split at each dot; a part that selects from
  /// a vector is an index, and a negative one counts from the end.
  /// \throws std::out_of_range if there is no such key or index
  /// \throws std::invalid_argument if a part is no index, or would select from a value of neither type
  const mapped_type& AtCompoundKey(const key_type& key) const;

  /// Returns a copy of that value, or the default where the other form throws.
  mapped_type AtCompoundKey(const key_type& key, mapped_type defaultValue) const noexcept;
};

namespace detail {

template <>
struct [[gnu::visibility("default")]] AnyPrinter<AnyMap> {
  static void text(std::ostream & out, const AnyMap& map);
  static void json(std::ostream & out, const AnyMap& map, Layout layout);
  static void cpp(std::ostream & out, const AnyMap& map, Layout layout);
};

}  // namespace detail
}  // namespace cppmicroservices
