#include "gatewayMessages.hpp"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>
#include "base64.hpp"

namespace agent::spf::etcd {

namespace {

using Json = nlohmann::json;

constexpr std::size_t longestQuote = 200;
constexpr std::chrono::seconds longestTtl = std::chrono::hours(24 * 365);  // far from an overflow

Json parse(const std::string& text) {
  auto json = Json::parse(text, nullptr, false);
  if (!json.is_object()) {
    throw std::runtime_error("an answer that is no JSON object");
  }
  return json;
}

// A member of an object; null if it was left out.
const Json* find(const Json& json, const char* name) {
  const auto found = json.find(name);
  return found == json.end() || found->is_null() ? nullptr : &*found;
}

[[noreturn]] void refuse(const char* name, const char* expected) {
  throw std::runtime_error(std::string("an answer whose '") + name + "' is not " + expected);
}

const Json& object(const Json& json, const char* name) {
  static const Json empty = Json::object();
  const auto* found = find(json, name);
  if (found == nullptr) {
    return empty;
  }
  if (!found->is_object()) {
    refuse(name, "an object");
  }
  return *found;
}

const Json& array(const Json& json, const char* name) {
  static const Json empty = Json::array();
  const auto* found = find(json, name);
  if (found == nullptr) {
    return empty;
  }
  if (!found->is_array()) {
    refuse(name, "an array");
  }
  return *found;
}

std::string text(const Json& json, const char* name) {
  const auto* found = find(json, name);
  if (found == nullptr) {
    return {};
  }
  if (!found->is_string()) {
    refuse(name, "a text");
  }
  return found->get<std::string>();
}

bool flag(const Json& json, const char* name) {
  const auto* found = find(json, name);
  if (found != nullptr && !found->is_boolean()) {
    refuse(name, "true or false");
  }
  return found != nullptr && found->get<bool>();
}

// Numbers come as texts; those of 32 bits as numbers.
std::int64_t number(const Json& json, const char* name) {
  const auto* found = find(json, name);
  if (found == nullptr) {
    return 0;
  }
  if (found->is_number_integer()) {
    return found->get<std::int64_t>();
  }
  const auto digits = text(json, name);
  std::int64_t value = 0;
  const auto end = digits.data() + digits.size();
  const auto [parsed, error] = std::from_chars(digits.data(), end, value);
  if (error != std::errc() || parsed != end) {
    refuse(name, "a number");
  }
  return value;
}

// The value of a stream is wrapped, and so is its failure.
Json unwrap(const std::string& message) {
  auto json = parse(message);
  if (const auto* error = find(json, "error")) {
    throw std::runtime_error(error->is_object() ? text(*error, "message") : text(json, "error"));
  }
  return object(json, "result");
}

bool hasPrefix(const std::string& key, const std::string& prefix) {
  return key.compare(0, prefix.size(), prefix) == 0;
}

StoredKey storedKey(const Json& json) {
  return {fromBase64(text(json, "key")), fromBase64(text(json, "value")), number(json, "lease"),
          number(json, "mod_revision")};
}

Change change(const Json& event) {
  return {text(event, "type") == "DELETE" ? Change::Kind::deleted : Change::Kind::put, storedKey(object(event, "kv"))};
}

LeaseAnswer leaseAnswer(const Json& json) {
  return {number(json, "ID"), std::min(std::chrono::seconds(number(json, "TTL")), longestTtl)};
}

Json range(const std::string& prefix) {
  return {{"key", toBase64(prefix)}, {"range_end", toBase64(endOfPrefix(prefix))}};
}

Json write(const std::string& prefix, const Write& write, LeaseId lease) {
  Json request = {{"key", toBase64(prefix + write.key)}};
  if (!write.value) {
    return {{"request_delete_range", std::move(request)}};
  }
  request["value"] = toBase64(*write.value);
  request["lease"] = std::to_string(lease);
  return {{"request_put", std::move(request)}};
}

std::optional<Refusal> refusalOf(const Json& json, const char* codeName, const char* messageName) {
  if (!json.is_object()) {
    return std::nullopt;
  }
  const auto code = json.find(codeName);
  const auto message = json.find(messageName);
  if (code == json.end() || !code->is_number_integer() || message == json.end() || !message->is_string()) {
    return std::nullopt;
  }
  return Refusal{code->get<int>(), message->get<std::string>()};
}

}  // namespace

std::string endOfPrefix(const std::string& prefix) {
  auto end = prefix;
  while (!end.empty() && static_cast<unsigned char>(end.back()) == 0xff) {
    end.pop_back();
  }
  if (end.empty()) {
    return std::string(1, '\0');  // stands for the end of all keys
  }
  end.back() = static_cast<char>(static_cast<unsigned char>(end.back()) + 1);
  return end;
}

std::string encodeListing(const std::string& prefix) {
  return range(prefix).dump();
}

std::string encodeProbe(const std::string& prefix) {
  return Json{{"key", toBase64(prefix)}, {"keys_only", true}}.dump();
}

std::string encodeWatch(const std::string& prefix, Revision first) {
  auto request = range(prefix);
  request["start_revision"] = std::to_string(first);
  return Json{{"create_request", std::move(request)}}.dump();
}

std::string encodeWrites(const std::string& prefix, const std::vector<Write>& writes, LeaseId lease) {
  auto requests = Json::array();
  for (const auto& one : writes) {
    requests.push_back(write(prefix, one, lease));
  }
  return Json{{"success", std::move(requests)}}.dump();
}

std::string encodeGrant(std::chrono::seconds ttl) {
  return Json{{"TTL", std::to_string(ttl.count())}}.dump();
}

std::string encodeLease(LeaseId lease) {
  return Json{{"ID", std::to_string(lease)}}.dump();
}

std::string encodeUser(const std::string& user, const std::string& password) {
  return Json{{"name", user}, {"password", password}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

ListingAnswer decodeListing(const std::string& body, const std::string& prefix) {
  const auto json = parse(body);
  ListingAnswer listing;
  listing.revision = number(object(json, "header"), "revision");
  if (listing.revision <= 0) {
    throw std::runtime_error("a listing without a revision");
  }
  for (const auto& kv : array(json, "kvs")) {
    auto stored = storedKey(kv);
    if (hasPrefix(stored.key, prefix)) {
      stored.key.erase(0, prefix.size());
      listing.keys.push_back(std::move(stored));
    }
  }
  return listing;
}

WatchAnswer decodeWatch(const std::string& message, const std::string& prefix) {
  const auto result = unwrap(message);
  WatchAnswer answer;
  answer.isCreated = flag(result, "created");
  answer.isCancelled = flag(result, "canceled");
  answer.compacted = number(result, "compact_revision");
  answer.reason = text(result, "cancel_reason");
  for (const auto& event : array(result, "events")) {
    auto changed = change(event);
    if (hasPrefix(changed.key.key, prefix)) {
      changed.key.key.erase(0, prefix.size());
      answer.changes.push_back(std::move(changed));
    }
  }
  return answer;
}

Revision decodeRevision(const std::string& body) {
  const auto json = parse(body);
  if (!flag(json, "succeeded")) {
    throw std::runtime_error("an answer that says nothing of the writes");
  }
  return number(object(json, "header"), "revision");
}

LeaseAnswer decodeGrant(const std::string& body) {
  const auto lease = leaseAnswer(parse(body));
  if (lease.id == 0 || lease.ttl.count() <= 0) {
    throw std::runtime_error("a lease without an ID or a time to live");
  }
  return lease;
}

LeaseAnswer decodeKeepAlive(const std::string& body) {
  return leaseAnswer(unwrap(body));
}

std::string decodeToken(const std::string& body) {
  auto token = text(parse(body), "token");
  // It becomes a line of a header.
  if (token.empty() || token.find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
    throw std::runtime_error("an answer without a usable token");
  }
  return token;
}

Refusal decodeRefusal(const std::string& body, long status) {
  const auto json = Json::parse(body, nullptr, false);
  if (auto refusal = refusalOf(json, "code", "error")) {
    return *std::move(refusal);
  }
  const auto stream = json.find("error");
  if (json.is_object() && stream != json.end()) {
    if (auto refusal = refusalOf(*stream, "grpc_code", "message")) {
      return *std::move(refusal);
    }
  }
  const auto line = body.substr(0, std::min(body.find_first_of("\r\n"), longestQuote));
  return {0, "HTTP status " + std::to_string(status) + (line.empty() ? "" : ": " + line)};
}

}  // namespace agent::spf::etcd
