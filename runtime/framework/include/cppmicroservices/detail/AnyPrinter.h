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

/// The number of digits of floating point numbers.
constexpr int DOUBLE_PRECISION = 12;

/// Writes a value as Any::ToString does. To get another text for a type, overload this function and the two below next
/// to the type.
template <class T>
std::ostream& any_value_to_string(std::ostream& out, const T& value);

/// Writes a value as Any::ToJSON does.
/// \param increment  blanks that are added for each level; 0 for everything on one line
/// \param indent     blanks in front of what is inside the value
template <class T>
std::ostream& any_value_to_json(std::ostream& out, const T& value, std::uint8_t increment = 0, std::int32_t indent = 0);

/// Writes a value as Any::ToCPP does.
template <class T>
std::ostream& any_value_to_cpp(std::ostream& out, const T& value, std::uint8_t increment = 0, std::int32_t indent = 0);

/// Begins a line with that many blanks; does nothing if the increment is 0, which means everything on one line.
[[gnu::visibility("default")]] std::ostream& newline_and_indent(std::ostream& out, std::uint8_t increment,
                                                                std::int32_t indent);

template <class T>
std::ostream& stream_floating_point(std::ostream& out, const T& value) {
  const auto before = out.precision(DOUBLE_PRECISION);
  out << value;
  out.precision(before);
  return out;
}

namespace detail {

/// The indentation of the next line. An increment of zero means everything on one line.
struct Layout {
  std::uint8_t increment = 0;
  std::int32_t indent = 0;

  Layout nested() const { return {increment, indent + increment}; }
  Layout outer() const { return {increment, indent - increment}; }
  void breakLine(std::ostream& out) const { newline_and_indent(out, increment, indent); }
};

[[gnu::visibility("default")]] void printQuoted(std::ostream& out, const std::string& text);

/// Writes values of one type as text, as JSON and as C++. This general form only streams them; containers and the types
/// with a form of their own have specialisations.
template <class T>
struct AnyPrinter {
  static void text(std::ostream& out, const T& value) {
    if constexpr (std::is_floating_point_v<T>) {
      stream_floating_point(out, value);
    } else {
      out << value;
    }
  }
  static void json(std::ostream& out, const T& value, Layout) {
    if constexpr (std::is_same_v<T, bool>) {
      out << (value ? "true" : "false");
    } else {
      text(out, value);
    }
  }
  static void cpp(std::ostream& out, const T& value, Layout layout) { json(out, value, layout); }
};

template <>
struct AnyPrinter<std::string> {
  static void text(std::ostream& out, const std::string& value) { out << value; }
  static void json(std::ostream& out, const std::string& value, Layout) { printQuoted(out, value); }
  static void cpp(std::ostream& out, const std::string& value, Layout) {
    out << "std::string(";
    printQuoted(out, value);
    out << ')';
  }
};

/// Writes the value that an Any holds; an empty Any is `null`, and has no text.
template <>
struct [[gnu::visibility("default")]] AnyPrinter<Any> {
  static void text(std::ostream & out, const Any& value);
  static void json(std::ostream & out, const Any& value, Layout layout);
  static void cpp(std::ostream & out, const Any& value, Layout layout);
};

/// Writes nothing for a function.
template <class Signature>
struct AnyPrinter<std::function<Signature>> {
  static void text(std::ostream&, const std::function<Signature>&) {}
  static void json(std::ostream&, const std::function<Signature>&, Layout) {}
  static void cpp(std::ostream&, const std::function<Signature>&, Layout) {}
};

template <class Sequence>
struct AnySequencePrinter {
  static void text(std::ostream& out, const Sequence& sequence) {
    const char* separator = "";
    out << '[';
    for (const auto& element : sequence) {
      out << separator;
      any_value_to_string(out, element);
      separator = ",";
    }
    out << ']';
  }

  static void json(std::ostream& out, const Sequence& sequence, Layout layout) {
    const auto inner = layout.nested();
    print(out, sequence, layout, "[", "]",
          [&](const auto& element) { any_value_to_json(out, element, inner.increment, inner.indent); });
  }

  static void cpp(std::ostream& out, const Sequence& sequence, Layout layout) {
    const auto inner = layout.nested();
    print(out, sequence, layout, "AnyVector {{", "}}",
          [&](const auto& element) { any_value_to_cpp(out, element, inner.increment, inner.indent); });
  }

 private:
  template <class Print>
  static void print(std::ostream& out, const Sequence& sequence, Layout layout, const char* begin, const char* end,
                    Print printElement) {
    const char* separator = "";
    out << begin;
    for (const auto& element : sequence) {
      out << separator;
      layout.breakLine(out);
      printElement(element);
      separator = ",";
    }
    if (!sequence.empty()) {
      layout.outer().breakLine(out);
    }
    out << end;
  }
};

template <class E>
struct AnyPrinter<std::vector<E>> : AnySequencePrinter<std::vector<E>> {};
template <class E>
struct AnyPrinter<std::list<E>> : AnySequencePrinter<std::list<E>> {};
template <class E>
struct AnyPrinter<std::set<E>> : AnySequencePrinter<std::set<E>> {};

/// Streams the values of a map unchanged, unless they are an Any.
template <class Map>
struct AnyMapPrinter {
  static constexpr bool holdsAny = std::is_same_v<typename Map::mapped_type, Any>;

  static void text(std::ostream& out, const Map& map) {
    const char* separator = "";
    out << '{';
    for (const auto& [key, value] : map) {
      out << separator << key << " : ";
      if constexpr (holdsAny) {
        AnyPrinter<Any>::text(out, value);
      } else {
        out << value;
      }
      separator = ", ";
    }
    out << '}';
  }

  static void json(std::ostream& out, const Map& map, Layout layout) {
    out << '{';
    printEntries(out, map, layout, [&](const auto& key, const auto& value) {
      out << '"' << key << "\" : ";
      if constexpr (holdsAny) {
        AnyPrinter<Any>::json(out, value, layout.nested());
      } else {
        out << value;
      }
    });
    if (!map.empty()) {
      layout.outer().breakLine(out);
    }
    out << '}';
  }

  static void cpp(std::ostream& out, const Map& map, Layout layout) {
    cpp(out, map, "ORDERED_MAP", layout, layout.outer());
  }

  /// Writes a map as C++ source.
  /// \param type  the type of the map
  /// \param inside  the indentation of the entries
  /// \param outside  the indentation of the map's end
  static void cpp(std::ostream& out, const Map& map, const char* type, Layout inside, Layout outside) {
    out << "AnyMap { " << type << ", {";
    printEntries(out, map, inside, [&](const auto& key, const auto& value) {
      out << "{\"" << key << "\" , ";
      if constexpr (holdsAny) {
        AnyPrinter<Any>::cpp(out, value, inside.nested());
      } else {
        out << value;
      }
      out << '}';
    });
    if (!map.empty()) {
      outside.breakLine(out);
    }
    out << "}}";
  }

 private:
  template <class Print>
  static void printEntries(std::ostream& out, const Map& map, Layout layout, Print printEntry) {
    const char* separator = "";
    for (const auto& [key, value] : map) {
      out << separator;
      layout.breakLine(out);
      printEntry(key, value);
      separator = ", ";
    }
  }
};

template <class K, class V>
struct AnyPrinter<std::map<K, V>> : AnyMapPrinter<std::map<K, V>> {};

}  // namespace detail

template <class T>
std::ostream& any_value_to_string(std::ostream& out, const T& value) {
  detail::AnyPrinter<T>::text(out, value);
  return out;
}

template <class T>
std::ostream& any_value_to_json(std::ostream& out, const T& value, std::uint8_t increment, std::int32_t indent) {
  detail::AnyPrinter<T>::json(out, value, {increment, indent});
  return out;
}

template <class T>
std::ostream& any_value_to_cpp(std::ostream& out, const T& value, std::uint8_t increment, std::int32_t indent) {
  detail::AnyPrinter<T>::cpp(out, value, {increment, indent});
  return out;
}

}  // namespace cppmicroservices
