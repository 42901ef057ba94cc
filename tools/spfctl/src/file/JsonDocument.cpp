#include "file/JsonDocument.hpp"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <unordered_set>
#include <utility>

#include <nlohmann/json.hpp>

namespace spfctl {

namespace {

// Iterates over the text for the parser and counts what was read, since the parser gives no positions.
class Reading {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  Reading(const char* position, std::size_t* consumed) : position_(position), consumed_(consumed) {}

  reference operator*() const { return *position_; }
  Reading& operator++() {
    ++position_;
    ++*consumed_;
    return *this;
  }
  Reading operator++(int) {
    auto before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Reading& left, const Reading& right) { return left.position_ == right.position_; }
  friend bool operator!=(const Reading& left, const Reading& right) { return !(left == right); }

 private:
  const char* position_;
  std::size_t* consumed_;
};

// The parser's message without the name that it gives the error, "[json.exception.<kind>.<number>] ", and
// without the position as the parser counts it.
std::string withoutNameAndPlace(const std::string& message) {
  const auto place = message.find("column ");
  const auto colon = place == std::string::npos ? place : message.find(": ", place);
  const auto name = message.find("] ");
  const auto end = colon == std::string::npos ? name : colon;
  return end == std::string::npos ? message : message.substr(end + 2);
}

// Builds the value from the parser's events. Its functions return whether to continue.
class Builder : public nlohmann::json_sax<nlohmann::json> {
 public:
  Builder(const std::string& text, const std::size_t& consumed, JsonValue& root, Findings& findings)
      : text_(text), consumed_(consumed), root_(root), findings_(findings) {}

  bool null() override { return scalar(JsonValue::Kind::null, wordBegin()); }
  bool boolean(bool) override { return scalar(JsonValue::Kind::boolean, wordBegin()); }
  bool number_integer(number_integer_t) override { return scalar(JsonValue::Kind::number, wordBegin()); }
  bool number_unsigned(number_unsigned_t) override { return scalar(JsonValue::Kind::number, wordBegin()); }
  bool number_float(number_float_t, const string_t&) override { return scalar(JsonValue::Kind::number, wordBegin()); }
  bool binary(binary_t&) override { return false; }

  bool string(string_t& value) override {
    auto& added = add(JsonValue::Kind::string, stringBegin());
    added.text = std::move(value);
    return true;
  }

  bool start_object(std::size_t) override { return open(JsonValue::Kind::object); }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(JsonValue::Kind::array); }
  bool end_array() override { return close(); }

  bool key(string_t& key) override {
    auto& object = open_.back();
    if (!object.keys.insert(key).second) {
      findings_.error(stringBegin(), "the key '" + key + "' is given twice; expected it once");
    }
    object.value->members.push_back({std::move(key), stringBegin(), {}});
    return true;
  }

  bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& error) override {
    const bool isTooBigNumber = dynamic_cast<const nlohmann::json::out_of_range*>(&error) != nullptr;
    const auto readSoFar = position == 0 ? 0 : position - 1;
    auto message = withoutNameAndPlace(error.what());
    if (message.find("expected") == std::string::npos) {
      message += isTooBigNumber ? "; expected a number of at most 1.8e308" : "; expected JSON";
    }
    return fail(isTooBigNumber ? wordBegin() : readSoFar, std::move(message));
  }

 private:
  // An array or object that is not at its end.
  struct Open {
    JsonValue* value;
    std::unordered_set<std::string> keys;
  };

  bool fail(std::size_t offset, std::string message) {
    findings_.error(offset, std::move(message));
    return false;
  }

  JsonValue& add(JsonValue::Kind kind, std::size_t offset) {
    auto& place = placeOfNext();
    place.kind = kind;
    place.offset = offset;
    return place;
  }

  JsonValue& placeOfNext() {
    if (open_.empty()) {
      return root_;
    }
    auto& parent = *open_.back().value;
    return parent.kind == JsonValue::Kind::object ? parent.members.back().value : parent.elements.emplace_back();
  }

  bool scalar(JsonValue::Kind kind, std::size_t begin) {
    add(kind, begin).text = text_.substr(begin, wordEnd(begin) - begin);
    return true;
  }

  bool open(JsonValue::Kind kind) {
    const auto offset = consumed_ - 1;
    if (open_.size() == JsonDocument::deepest) {
      return fail(offset, "nested too deep; expected at most " + std::to_string(JsonDocument::deepest) + " levels");
    }
    open_.push_back({&add(kind, offset), {}});
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  static bool isPartOfWord(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '+' || character == '-' ||
           character == '.';
  }

  // The offset at which the number or literal begins that was just read; the parser may be one character ahead.
  std::size_t wordBegin() const {
    auto position = std::min(consumed_, text_.size());
    if (position > 0 && !isPartOfWord(text_[position - 1])) {
      --position;
    }
    while (position > 0 && isPartOfWord(text_[position - 1])) {
      --position;
    }
    return position;
  }

  std::size_t wordEnd(std::size_t begin) const {
    while (begin < text_.size() && isPartOfWord(text_[begin])) {
      ++begin;
    }
    return begin;
  }

  // The offset at which the string begins whose closing quote was just read: that of the nearest quote
  // before it that no backslash escapes.
  std::size_t stringBegin() const {
    auto position = consumed_ - 1;
    do {
      position = text_.rfind('"', position - 1);
    } while (isEscaped(position));
    return position;
  }

  bool isEscaped(std::size_t position) const {
    const auto lastOther = text_.find_last_not_of('\\', position - 1);
    const auto backslashes = position - 1 - lastOther;
    return position > 0 && backslashes % 2 == 1;
  }

  const std::string& text_;
  const std::size_t& consumed_;
  JsonValue& root_;
  Findings& findings_;
  std::vector<Open> open_;
};

}  // namespace

const char* nameOf(JsonValue::Kind kind) {
  switch (kind) {
    case JsonValue::Kind::null:
      return "null";
    case JsonValue::Kind::boolean:
      return "a boolean";
    case JsonValue::Kind::number:
      return "a number";
    case JsonValue::Kind::string:
      return "a string";
    case JsonValue::Kind::array:
      return "an array";
    default:
      return "an object";
  }
}

JsonDocument::JsonDocument(const std::string& text, Findings& findings) {
  std::size_t consumed = 0;
  Builder builder(text, consumed, root_, findings);
  const Reading begin(text.data(), &consumed);
  const Reading end(text.data() + text.size(), &consumed);
  const bool strict = true;
  const bool ignoreComments = true;
  isComplete_ =
      nlohmann::json::sax_parse(begin, end, &builder, nlohmann::json::input_format_t::json, strict, ignoreComments);
}

}  // namespace spfctl
