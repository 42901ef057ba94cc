#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace spfctl {

/// One value of a JSON text, with its position in the text.
struct JsonValue {
  enum class Kind { null, boolean, number, string, array, object };

  struct Member;

  Kind kind = Kind::null;
  std::size_t offset = 0;           ///< of its first character in the text
  std::string text;                 ///< a string's value; the characters of a number or a boolean
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

/// An error in a file. The message begins with the file's name and, for an error at one position, its
/// line and column (from 1, columns in characters).
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A file's text and the JSON value in it. Comments (/* */ and //) are allowed.
class JsonDocument {
 public:
  /// How deep arrays and objects may be nested.
  static constexpr std::size_t deepest = 256;

  /// \param name  the file's name, for messages
  /// \throws FileError for text that is not JSON, a duplicate key, or nesting that is too deep
  JsonDocument(std::string name, std::string text);

  const JsonValue& root() const { return root_; }

  /// Returns an error at this offset.
  FileError error(std::size_t offset, const std::string& message) const;

 private:
  const std::string name_;
  const std::string text_;
  JsonValue root_;
};

}  // namespace spfctl
