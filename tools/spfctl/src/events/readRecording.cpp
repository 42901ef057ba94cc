#include "events/readRecording.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>

#include "file/Findings.hpp"
#include "file/JsonDocument.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworklistener::FrameworkEvent;
using cppmicroservices::Any;
using Kind = JsonValue::Kind;

constexpr std::uint32_t readableVersion = 1;

// What is wrong with a line, without its place.
struct LineError {
  std::string message;
};

template <class Number>
std::optional<Number> wholeNumber(const JsonValue& value) {
  Number number{};
  const auto* const end = value.text.data() + value.text.size();
  const auto result = std::from_chars(value.text.data(), end, number);
  const bool isWhole = value.kind == Kind::number && result.ec == std::errc() && result.ptr == end;
  return isWhole ? std::optional<Number>(number) : std::nullopt;
}

void throwFirst(const Findings& findings) {
  if (findings.errors() != 0) {
    throw LineError{findings.sorted().front().message};
  }
}

// One line as a JSON object. Its functions throw LineError for a value that is missing or of a wrong type.
class LineObject {
 public:
  explicit LineObject(const std::string& text) : document_(text, findings_) {
    throwFirst(findings_);
    if (document_.root().kind != Kind::object) {
      throw LineError{std::string("found ") + nameOf(document_.root().kind) + "; expected an object"};
    }
  }

  const JsonValue& value(const char* key) const {
    const auto& members = document_.root().members;
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&](const JsonValue::Member& member) { return member.key == key; });
    if (found == members.end()) {
      throw LineError{std::string("no '") + key + "'; expected one"};
    }
    return found->value;
  }

  const std::string& text(const char* key) const {
    const auto& found = value(key);
    if (found.kind != Kind::string) {
      throw LineError{std::string("'") + key + "' is " + nameOf(found.kind) + "; expected a string"};
    }
    return found.text;
  }

  template <class Number>
  Number number(const char* key) const {
    const auto& found = value(key);
    const auto whole = wholeNumber<Number>(found);
    if (!whole) {
      throw LineError{std::string("'") + key + "' is " +
                      (found.kind == Kind::number ? found.text : nameOf(found.kind)) +
                      "; expected a whole number from 0 to " + std::to_string(std::numeric_limits<Number>::max())};
    }
    return *whole;
  }

  // The number that an event has for one of these changes. Numbers stand for changes that the recorder did not know.
  std::uint32_t change(std::string (*nameOfChange)(std::uint32_t)) const {
    const auto& found = value("change");
    if (const auto unknown = wholeNumber<std::uint32_t>(found)) {
      return *unknown;
    }
    const auto& name = text("change");
    std::string expected;
    for (std::uint32_t change = 0; !nameOfChange(change).empty(); ++change) {
      if (name == nameOfChange(change)) {
        return change;
      }
      expected += (expected.empty() ? "" : ", ") + nameOfChange(change);
    }
    throw LineError{"unknown change '" + name + "'; expected one of " + expected};
  }

  Any any(const char* key) const {
    Findings findings;
    auto converted = toAny(value(key), findings);
    throwFirst(findings);
    return converted;
  }

 private:
  Findings findings_;
  const JsonDocument document_;
};

RecordedEvent configurationOf(const LineObject& line) {
  const auto version = line.number<std::uint32_t>("version");
  if (version != readableVersion) {
    throw LineError{"the recording has version " + std::to_string(version) + "; expected " +
                    std::to_string(readableVersion)};
  }
  const auto revision = line.number<std::uint32_t>("revision");
  if (revision == 0) {
    throw LineError{"'revision' of a configuration is 0; expected a whole number from 1 on"};
  }
  return RecordedConfiguration{line.text("configurationID"), revision, line.text("file"), line.text("text")};
}

// Nothing of such an event but its number is there, so it must be no kind that has more.
RecordedEvent otherOf(const LineObject& line) {
  const auto number = line.number<std::uint32_t>("number");
  if (number == FrameworkEvent::services || number == FrameworkEvent::error || number == FrameworkEvent::endpoint) {
    throw LineError{"'number' is " + std::to_string(number) +
                    ", a kind that has lines of its own; expected another one"};
  }
  return RecordedOther{number};
}

RecordedEvent eventOf(const LineObject& line) {
  const auto& kind = line.text("kind");
  if (kind == "configuration") {
    return configurationOf(line);
  }
  if (kind == "services") {
    return RecordedServices{line.text("publisher"), line.number<std::uint32_t>("revision"),
                            line.change(nameOfServicesChange)};
  }
  if (kind == "endpoint") {
    return RecordedEndpoint{line.text("publisher"), line.number<std::uint32_t>("revision"),
                            line.change(nameOfEndpointChange), line.any("endpoint")};
  }
  if (kind == "error") {
    return RecordedError{line.text("publisher"), line.number<std::uint32_t>("revision"), line.text("error")};
  }
  if (kind == "other") {
    return otherOf(line);
  }
  if (kind == "dropped") {
    return RecordedDrop{line.number<std::uint64_t>("count")};
  }
  throw LineError{"unknown kind '" + kind +
                  "'; expected one of configuration, services, endpoint, error, other, dropped"};
}

RecordedLine readLine(const std::string& text, std::size_t number) {
  const LineObject line(text);
  return {number, line.text("time"), eventOf(line)};
}

bool isConfiguration(const RecordedLine& line) {
  return std::holds_alternative<RecordedConfiguration>(line.event);
}

// The last line of a host that was killed, or of a disk that was full.
void requireWhole(const std::string& line, bool hasNoEnd) {
  Findings findings;
  if (hasNoEnd && !JsonDocument(line, findings).isComplete()) {
    throw LineError{"the last line is cut off; expected a whole one; remove it to replay the others"};
  }
}

}  // namespace

std::vector<RecordedLine> readRecording(const SourceText& source) {
  const auto& text = source.text();
  std::vector<RecordedLine> lines;
  std::size_t number = 0;
  for (std::size_t begin = 0, end = 0; begin < text.size(); begin = end + 1) {
    end = std::min(text.find('\n', begin), text.size());
    const auto line = text.substr(begin, end - begin);
    ++number;
    try {
      requireWhole(line, end == text.size());
      lines.push_back(readLine(line, number));
    } catch (const LineError& error) {
      throw RecordingError(source.name() + ":" + std::to_string(number) + ": " + error.message);
    }
  }
  if (std::none_of(lines.begin(), lines.end(), isConfiguration)) {
    throw RecordingError(source.name() + ":1: the recording has no line of the kind 'configuration'; expected one");
  }
  return lines;
}

}  // namespace spfctl
