#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "file/Findings.hpp"

namespace spfctl {

/// One value of a JSON text, with its position in the text.
struct JsonValue {
  enum class Kind { null, boolean, number, string, array, object };

  struct Member;

  Kind kind = Kind::null;
  std::size_t offset = 0;           ///< of its first character in the text
  std::string text;                 ///< a string's value; the characters of a number, a boolean or null
  std::vector<JsonValue> elements;  ///< of an array
  std::vector<Member> members;      ///< of an object, in the text's order
};

struct JsonValue::Member {
  std::string key;
  std::size_t offset;  ///< of the key
  JsonValue value;
};

/// Returns the name of a kind of value in messages: "a string", "an object" ...
const char* nameOf(JsonValue::Kind kind);

/// The JSON value in a text. Comments (/* */ and //) are allowed.
class JsonDocument {
 public:
  /// How deep arrays and objects may be nested.
  static constexpr std::size_t deepest = 256;

  /// Reads the text. Keys that an object has twice are errors that reading goes on after; at text that is not JSON and
  /// at nesting that is too deep it ends, and the root is incomplete.
  JsonDocument(const std::string& text, Findings& findings);

  const JsonValue& root() const { return root_; }

  /// Returns whether the text was read to its end.
  bool isComplete() const { return isComplete_; }

 private:
  JsonValue root_;
  bool isComplete_;
};

}  // namespace spfctl
