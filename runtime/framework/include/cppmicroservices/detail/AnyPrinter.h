#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

namespace cppmicroservices {

class Any;

namespace detail {

/// Where the next line of a JSON text starts. An increment of zero means everything on one line.
struct JsonLayout {
  std::uint8_t increment = 0;
  std::int32_t indent = 0;

  JsonLayout nested() const { return {increment, indent + increment}; }
  JsonLayout outer() const { return {increment, indent - increment}; }
};

[[gnu::visibility("default")]] void breakLine(std::ostream& out, JsonLayout layout);
[[gnu::visibility("default")]] void printAnyText(std::ostream& out, Any const& value);
[[gnu::visibility("default")]] void printAnyJson(std::ostream& out, Any const& value, JsonLayout layout);
[[gnu::visibility("default")]] void printQuoted(std::ostream& out, std::string const& text);

template <class T>
void printFloating(std::ostream& out, T value) {
  auto const before = out.precision(12);
  out << value;
  out.precision(before);
}

/// How a value is shown as text and as JSON. This general form is for everything that can only be
/// streamed; containers and the types with a form of their own in JSON have specialisations.
template <class T>
struct AnyPrinter {
  static void text(std::ostream& out, T const& value) {
    if constexpr (std::is_floating_point_v<T>) {
      printFloating(out, value);
    } else {
      out << value;
    }
  }
  static void json(std::ostream& out, T const& value, JsonLayout) {
    if constexpr (std::is_same_v<T, bool>) {
      out << (value ? "true" : "false");
    } else {
      text(out, value);
    }
  }
};

template <>
struct AnyPrinter<std::string> {
  static void text(std::ostream& out, std::string const& value) { out << value; }
  static void json(std::ostream& out, std::string const& value, JsonLayout) { printQuoted(out, value); }
};

template <>
struct AnyPrinter<Any> {
  static void text(std::ostream& out, Any const& value) { printAnyText(out, value); }
  static void json(std::ostream& out, Any const& value, JsonLayout layout) { printAnyJson(out, value, layout); }
};

/// A function has nothing to show.
template <class Signature>
struct AnyPrinter<std::function<Signature>> {
  static void text(std::ostream&, std::function<Signature> const&) {}
  static void json(std::ostream&, std::function<Signature> const&, JsonLayout) {}
};

template <class Sequence>
struct AnySequencePrinter {
  using Element = AnyPrinter<typename Sequence::value_type>;

  static void text(std::ostream& out, Sequence const& sequence) {
    char const* separator = "";
    out << '[';
    for (auto const& element : sequence) {
      out << separator;
      Element::text(out, element);
      separator = ",";
    }
    out << ']';
  }

  static void json(std::ostream& out, Sequence const& sequence, JsonLayout layout) {
    char const* separator = "";
    out << '[';
    for (auto const& element : sequence) {
      out << separator;
      breakLine(out, layout);
      Element::json(out, element, layout.nested());
      separator = ",";
    }
    if (!sequence.empty()) {
      breakLine(out, layout.outer());
    }
    out << ']';
  }
};

template <class E>
struct AnyPrinter<std::vector<E>> : AnySequencePrinter<std::vector<E>> {};
template <class E>
struct AnyPrinter<std::list<E>> : AnySequencePrinter<std::list<E>> {};
template <class E>
struct AnyPrinter<std::set<E>> : AnySequencePrinter<std::set<E>> {};

/// Values of a map are streamed as they are, unless they are an Any.
template <class Map>
struct AnyMapPrinter {
  static constexpr bool holdsAny = std::is_same_v<typename Map::mapped_type, Any>;

  static void text(std::ostream& out, Map const& map) {
    char const* separator = "";
    out << '{';
    for (auto const& [key, value] : map) {
      out << separator << key << " : ";
      if constexpr (holdsAny) {
        printAnyText(out, value);
      } else {
        out << value;
      }
      separator = ", ";
    }
    out << '}';
  }

  static void json(std::ostream& out, Map const& map, JsonLayout layout) {
    char const* separator = "";
    out << '{';
    for (auto const& [key, value] : map) {
      out << separator;
      breakLine(out, layout);
      out << '"' << key << "\" : ";
      if constexpr (holdsAny) {
        printAnyJson(out, value, layout.nested());
      } else {
        out << value;
      }
      separator = ", ";
    }
    if (!map.empty()) {
      breakLine(out, layout.outer());
    }
    out << '}';
  }
};

template <class K, class V>
struct AnyPrinter<std::map<K, V>> : AnyMapPrinter<std::map<K, V>> {};

}  // namespace detail
}  // namespace cppmicroservices
