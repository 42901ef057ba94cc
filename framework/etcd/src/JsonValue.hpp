#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace agent::spf::etcd {

/// A JSON value that was parsed. Its destruction allocates nothing, unlike that of the JSON library's own type, so that
/// lack of memory is an exception, which can be survived, and never the end of the process.
class JsonValue {
 public:
  struct Member;
  using Array = std::vector<JsonValue>;
  using Object = std::vector<Member>;
  using Content = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Array, Object>;

  JsonValue() = default;
  explicit JsonValue(Content content) : content_(std::move(content)) {}

  /// Returns a value, or null if the text is no JSON or is nested more than 64 times.
  static JsonValue parse(const std::string& text);

  /// Returns the content of a type; a null pointer if the value is of another type. Numbers beyond 64 bits with a sign
  /// are of type double.
  template <class Type>
  const Type* get() const noexcept {
    return std::get_if<Type>(&content_);
  }

  /// Returns a member of an object; a null pointer if there is none, or it is null, or this is no object.
  const JsonValue* find(const char* name) const noexcept;

 private:
  class Builder;

  Content content_ = nullptr;
};

struct JsonValue::Member {
  std::string name;
  JsonValue value;
};

/// Returns a text as JSON, in quotes; what is no UTF-8 is replaced.
std::string quoteJson(const std::string& text);

}  // namespace agent::spf::etcd
