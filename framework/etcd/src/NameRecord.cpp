#include "agent/spf/etcd/NameRecord.hpp"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <limits>
#include <stdexcept>

#include <nlohmann/json.hpp>
#include "agent/spf/frameworksupport/Address.hpp"

namespace agent::spf::etcd {

namespace {

using Json = nlohmann::json;

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

const Json& member(const Json& json, const char* name, const char* expected) {
  const auto found = json.find(name);
  if (found == json.end()) {
    refuse("the value has no '" + std::string(name) + "'", expected);
  }
  return *found;
}

std::string text(const Json& json, const char* name) {
  constexpr auto expected = "a text without control characters";
  const auto& value = member(json, name, expected);
  if (!value.is_string()) {
    refuse("'" + std::string(name) + "' is no text", expected);
  }
  auto result = value.get<std::string>();
  if (std::any_of(result.begin(), result.end(), isControl)) {
    refuse("'" + std::string(name) + "' contains a control character", expected);
  }
  return result;
}

long process(const Json& json) {
  constexpr auto expected = "a number that is not negative";
  const auto& value = member(json, "process", expected);
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > std::numeric_limits<std::int32_t>::max()) {
    refuse("'process' is no process's number", expected);
  }
  return value.get<long>();
}

std::string address(const Json& json) {
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

std::chrono::system_clock::time_point since(const Json& json) {
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

void checkVersion(const Json& json) {
  const auto& value = member(json, "version", "1");
  if (!value.is_number_integer() || value.get<std::int64_t>() != version) {
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
  const Json value = {{"version", version},          {"address", record.address},
                      {"key", record.key},           {"host", record.host},
                      {"process", record.process},   {"configuration", record.configuration},
                      {"since", write(record.since)}};
  return {record.name + "/" + record.id, value.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

NameRecord decode(const std::string& key, const std::string& value) {
  NameRecord record;
  readKey(key, record);
  const auto json = Json::parse(value, nullptr, false);
  if (!json.is_object()) {
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
