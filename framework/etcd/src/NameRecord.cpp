#include "agent/spf/etcd/NameRecord.hpp"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>
#include <stdexcept>

#include "JsonValue.hpp"
#include "agent/spf/frameworksupport/Address.hpp"

namespace agent::spf::etcd {

namespace {

constexpr int version = 1;
constexpr auto nameCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-";
constexpr auto timeFormat = "%Y-%m-%dT%H:%M:%SZ";
constexpr std::size_t lengthOfTime = 20;
constexpr int yearZero = 1900;  // of tm
constexpr int lastYear = 2200;  // the clock's type ends in 2262

[[noreturn]] void refuse(const std::string& what, const std::string& expected) {
  throw std::runtime_error(what + "; expected " + expected);
}

bool isName(const std::string& text) {
  return !text.empty() && text.find_first_not_of(nameCharacters) == std::string::npos;
}

bool isControl(unsigned char byte) {
  return byte < ' ' || byte == 0x7f;
}

// Returns a member of a type; a null pointer if it is of another one.
template <class Type>
const Type* member(const JsonValue& json, const char* name, const char* expected) {
  const auto* const found = json.find(name);
  if (found == nullptr) {
    refuse("the value has no '" + std::string(name) + "'", expected);
  }
  return found->get<Type>();
}

std::string text(const JsonValue& json, const char* name) {
  constexpr auto expected = "a text without control characters";
  const auto* const value = member<std::string>(json, name, expected);
  if (value == nullptr) {
    refuse("'" + std::string(name) + "' is no text", expected);
  }
  if (std::any_of(value->begin(), value->end(), isControl)) {
    refuse("'" + std::string(name) + "' contains a control character", expected);
  }
  return *value;
}

long process(const JsonValue& json) {
  constexpr auto expected = "a number that is not negative";
  const auto* const value = member<std::int64_t>(json, "process", expected);
  if (value == nullptr || *value < 0 || *value > std::numeric_limits<std::int32_t>::max()) {
    refuse("'process' is no process's number", expected);
  }
  return static_cast<long>(*value);
}

std::string address(const JsonValue& json) {
  auto result = text(json, "address");
  const auto parsed = frameworksupport::parseAddress(result);
  const bool isReachable = parsed.scheme == frameworksupport::Scheme::tcp && parsed.source.empty() &&
                           parsed.where != "*" && !frameworksupport::isWildcard(parsed);
  if (!isReachable) {
    refuse("'address' is '" + result + "'", "tcp://HOST:PORT");
  }
  return result;
}

std::string write(std::chrono::system_clock::time_point time) {
  const auto seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::string written(lengthOfTime + 1, '\0');
  written.resize(std::strftime(written.data(), written.size(), timeFormat, &parts));
  return written;
}

std::chrono::system_clock::time_point since(const JsonValue& json) {
  constexpr auto expected = "a time such as 2026-11-22T12:00:00Z";
  const auto written = text(json, "since");
  std::tm parts{};
  const auto* const end = strptime(written.c_str(), timeFormat, &parts);
  const bool isTime = end == written.c_str() + written.size() && written.size() == lengthOfTime &&
                      parts.tm_year + yearZero >= 1970 && parts.tm_year + yearZero <= lastYear;
  if (!isTime) {
    refuse("'since' is '" + written + "'", expected);
  }
  const auto time = std::chrono::system_clock::from_time_t(timegm(&parts));
  if (write(time) != written) {
    refuse("'since' is '" + written + "'", expected);
  }
  return time;
}

void checkVersion(const JsonValue& json) {
  const auto* const value = member<std::int64_t>(json, "version", "1");
  if (value == nullptr || *value != version) {
    refuse("'version' is not known", "1");
  }
}

void readKey(const std::string& key, NameRecord& record) {
  const auto slash = key.find('/');
  if (slash != std::string::npos) {
    record.name = key.substr(0, slash);
    record.id = key.substr(slash + 1);
  }
  if (!isName(record.name) || !isName(record.id)) {
    refuse("the key is not that of a record", "NAME/ID of letters, digits, '.', '_' and '-'");
  }
}

}  // namespace

std::pair<std::string, std::string> encode(const NameRecord& record) {
  const auto quoted = [](const char* name, const std::string& text) {
    return std::string("\"") + name + "\":" + quoteJson(text);
  };
  return {record.name + "/" + record.id,
          "{" + quoted("address", record.address) + "," + quoted("configuration", record.configuration) + "," +
              quoted("host", record.host) + "," + quoted("key", record.key) +
              ",\"process\":" + std::to_string(record.process) + "," + quoted("since", write(record.since)) +
              ",\"version\":" + std::to_string(version) + "}"};
}

NameRecord decode(const std::string& key, const std::string& value) {
  NameRecord record;
  readKey(key, record);
  const auto json = JsonValue::parse(value);
  if (json.get<JsonValue::Object>() == nullptr) {
    refuse("the value is no JSON object", "a record");
  }
  checkVersion(json);
  record.address = address(json);
  record.key = text(json, "key");
  record.host = text(json, "host");
  record.process = process(json);
  record.configuration = text(json, "configuration");
  record.since = since(json);
  return record;
}

}  // namespace agent::spf::etcd
