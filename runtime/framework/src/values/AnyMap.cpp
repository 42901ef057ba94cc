#include "cppmicroservices/AnyMap.h"

#include <stdexcept>

#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace detail {

std::size_t any_map_cihash::operator()(const std::string& key) const {
  return static_cast<std::size_t>(ascii::hashIgnoringCase(key));
}

bool any_map_ciequal::operator()(const std::string& left, const std::string& right) const {
  return ascii::equalIgnoringCase(left, right);
}

}  // namespace detail

namespace {

template <class Entry, class Position>
Entry& dereference(const Position& position) {
  return std::visit(
      [](const auto& at) -> Entry& {
        if constexpr (std::is_same_v<std::decay_t<decltype(at)>, std::monostate>) {
          throw std::logic_error("cannot dereference an invalid iterator");
        } else {
          return *at;
        }
      },
      position);
}

template <class Position>
void increment(Position& position) {
  std::visit(
      [](auto& at) {
        if constexpr (std::is_same_v<std::decay_t<decltype(at)>, std::monostate>) {
          throw std::logic_error("cannot increment an invalid iterator");
        } else {
          ++at;
        }
      },
      position);
}

// Calls `get` with the map and, as a constant, the index of its alternative, and makes a position of the result.
template <class Position, class Storage, class Get>
Position positionIn(Storage& storage, Get get) {
  switch (storage.index()) {
    case any_map::ORDERED_MAP:
      return Position(std::in_place_index<1>, get(*std::get_if<0>(&storage)));
    case any_map::UNORDERED_MAP:
      return Position(std::in_place_index<2>, get(*std::get_if<1>(&storage)));
    default:
      return Position(std::in_place_index<3>, get(*std::get_if<2>(&storage)));
  }
}

template <class Storage>
Storage storageOf(any_map::map_type type, std::initializer_list<any_map::value_type> entries) {
  switch (type) {
    case any_map::ORDERED_MAP:
      return Storage(std::in_place_index<0>, entries);
    case any_map::UNORDERED_MAP:
      return Storage(std::in_place_index<1>, entries);
    case any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS:
      return Storage(std::in_place_index<2>, entries);
  }
  throw std::logic_error("invalid map type");
}

template <std::size_t index, class Storage>
bool swapIfEmptyAs(Storage& to, Storage& from) {
  auto* const map = std::get_if<index>(&to);
  if (!map->empty()) {
    return false;
  }
  map->swap(*std::get_if<index>(&from));
  return true;
}

// Swaps two maps if they have one type and the first one is empty.
template <class Storage>
bool swapIfEmpty(Storage& to, Storage& from) {
  if (to.index() != from.index()) {
    return false;
  }
  switch (to.index()) {
    case any_map::ORDERED_MAP:
      return swapIfEmptyAs<any_map::ORDERED_MAP>(to, from);
    case any_map::UNORDERED_MAP:
      return swapIfEmptyAs<any_map::UNORDERED_MAP>(to, from);
    default:
      return swapIfEmptyAs<any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS>(to, from);
  }
}

// A standard map is usually empty after it was moved from, and clearing it costs as much as the move.
template <class Map>
void clearUnlessEmpty(Map& map) {
  if (!map.empty()) {
    map.clear();
  }
}

template <std::size_t index, class Storage>
Storage takenAs(Storage& storage) {
  auto& map = *std::get_if<index>(&storage);
  Storage result(std::in_place_index<index>, std::move(map));
  clearUnlessEmpty(map);
  return result;
}

// Moves a map out of its storage, where an empty one of the same type stays.
template <class Storage>
Storage taken(Storage& storage) noexcept {
  switch (storage.index()) {
    case any_map::ORDERED_MAP:
      return takenAs<any_map::ORDERED_MAP>(storage);
    case any_map::UNORDERED_MAP:
      return takenAs<any_map::UNORDERED_MAP>(storage);
    default:
      return takenAs<any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS>(storage);
  }
}

}  // namespace

any_map::reference any_map::iter::operator*() const {
  return dereference<value_type>(position_);
}

any_map::iter& any_map::iter::operator++() {
  increment(position_);
  return *this;
}

any_map::iter any_map::iter::operator++(int) {
  const iter before(*this);
  ++*this;
  return before;
}

any_map::const_iter::const_iter(const iter& other) {
  switch (other.position_.index()) {
    case 1:
      position_.emplace<1>(*std::get_if<1>(&other.position_));
      break;
    case 2:
      position_.emplace<2>(*std::get_if<2>(&other.position_));
      break;
    case 3:
      position_.emplace<3>(*std::get_if<3>(&other.position_));
      break;
    default:
      break;
  }
}

any_map::const_reference any_map::const_iter::operator*() const {
  return dereference<const value_type>(position_);
}

any_map::const_iter& any_map::const_iter::operator++() {
  increment(position_);
  return *this;
}

any_map::const_iter any_map::const_iter::operator++(int) {
  const const_iter before(*this);
  ++*this;
  return before;
}

any_map::any_map(map_type type, std::initializer_list<value_type> entries)
    : storage_(storageOf<Storage>(type, entries)) {}
any_map::any_map(const ordered_any_map& map) : storage_(map) {}
any_map::any_map(ordered_any_map&& map) : storage_(std::move(map)) {}
any_map::any_map(const unordered_any_map& map) : storage_(map) {}
any_map::any_map(unordered_any_map&& map) : storage_(std::move(map)) {}
any_map::any_map(const unordered_any_cimap& map) : storage_(map) {}
any_map::any_map(unordered_any_cimap&& map) : storage_(std::move(map)) {}

any_map::any_map(const any_map& other) = default;

any_map::any_map(any_map&& other) noexcept : storage_(taken(other.storage_)) {
  static_assert(std::is_nothrow_move_constructible_v<Storage> && std::is_nothrow_move_assignable_v<Storage>);
}

// The other map may be one of this one's values, so these are destroyed last.
any_map& any_map::operator=(const any_map& other) {
  Storage copy(other.storage_);
  storage_.swap(copy);
  return *this;
}

any_map& any_map::operator=(any_map&& other) noexcept {
  if (this != &other && !swapIfEmpty(storage_, other.storage_)) {
    Storage old(taken(other.storage_));
    storage_.swap(old);
  }
  return *this;
}

any_map::~any_map() = default;

any_map::iter any_map::begin() {
  return iter(positionIn<Position>(storage_, [](auto& map) { return map.begin(); }));
}

any_map::const_iter any_map::begin() const {
  return const_iter(positionIn<ConstPosition>(storage_, [](auto& map) { return map.begin(); }));
}

any_map::iter any_map::end() {
  return iter(positionIn<Position>(storage_, [](auto& map) { return map.end(); }));
}

any_map::const_iter any_map::end() const {
  return const_iter(positionIn<ConstPosition>(storage_, [](auto& map) { return map.end(); }));
}

any_map::const_iter any_map::find(const key_type& key) const {
  return const_iter(positionIn<ConstPosition>(storage_, [&](auto& map) { return map.find(key); }));
}

any_map::size_type any_map::size() const {
  return std::visit([](const auto& map) { return map.size(); }, storage_);
}

any_map::size_type any_map::count(const key_type& key) const {
  return std::visit([&](const auto& map) { return map.count(key); }, storage_);
}

void any_map::clear() {
  std::visit([](auto& map) { map.clear(); }, storage_);
}

any_map::mapped_type& any_map::at(const key_type& key) {
  return std::visit([&](auto& map) -> mapped_type& { return map.at(key); }, storage_);
}

const any_map::mapped_type& any_map::at(const key_type& key) const {
  return std::visit([&](const auto& map) -> const mapped_type& { return map.at(key); }, storage_);
}

any_map::mapped_type& any_map::operator[](const key_type& key) {
  return std::visit([&](auto& map) -> mapped_type& { return map[key]; }, storage_);
}

any_map::mapped_type& any_map::operator[](key_type&& key) {
  return std::visit([&](auto& map) -> mapped_type& { return map[std::move(key)]; }, storage_);
}

std::pair<any_map::iterator, bool> any_map::insert(const value_type& value) {
  bool added = false;
  const auto position = positionIn<Position>(storage_, [&](auto& map) {
    const auto result = map.insert(value);
    added = result.second;
    return result.first;
  });
  return {iter(position), added};
}

std::pair<any_map::iterator, bool> any_map::add(std::pair<key_type, mapped_type>&& entry) {
  bool added = false;
  const auto position = positionIn<Position>(storage_, [&](auto& map) {
    const auto result = map.try_emplace(std::move(entry.first), std::move(entry.second));
    added = result.second;
    return result.first;
  });
  return {iter(position), added};
}

any_map::size_type any_map::erase(const key_type& key) {
  return std::visit([&](auto& map) { return map.erase(key); }, storage_);
}

bool any_map::operator==(const any_map& other) const {
  return storage_ == other.storage_;
}

AnyMap::AnyMap(std::initializer_list<value_type> entries) : any_map(UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries) {}
AnyMap::AnyMap(map_type type, std::initializer_list<value_type> entries) : any_map(type, entries) {}
AnyMap::AnyMap(const ordered_any_map& map) : any_map(map) {}
AnyMap::AnyMap(ordered_any_map&& map) : any_map(std::move(map)) {}
AnyMap::AnyMap(const unordered_any_map& map) : any_map(map) {}
AnyMap::AnyMap(unordered_any_map&& map) : any_map(std::move(map)) {}
AnyMap::AnyMap(const unordered_any_cimap& map) : any_map(map) {}
AnyMap::AnyMap(unordered_any_cimap&& map) : any_map(std::move(map)) {}

}  // namespace cppmicroservices
