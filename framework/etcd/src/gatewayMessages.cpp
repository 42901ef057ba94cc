#include "gatewayMessages.hpp"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "JsonValue.hpp"
#include "base64.hpp"

namespace agent::spf::etcd {

namespace {

constexpr std::size_t longestQuote = 200;
constexpr std::chrono::seconds longestTtl = std::chrono::hours(24 * 365);  // far from an overflow

JsonValue parse(const std::string& text) {
  auto json = JsonValue::parse(text);
  if (json.get<JsonValue::Object>() == nullptr) {
    throw std::runtime_error("an answer that is no JSON object");
  }
  return json;
}

[[noreturn]] void refuse(const char* name, const char* expected) {
  throw std::runtime_error(std::string("an answer whose '") + name + "' is not " + expected);
}

// Returns a member of a type; a null pointer if it was left out.
template <class Type>
const Type* member(const JsonValue& json, const char* name, const char* expected) {
  const auto* const found = json.find(name);
  if (found == nullptr) {
    return nullptr;
  }
  const auto* const content = found->get<Type>();
  if (content == nullptr) {
    refuse(name, expected);
  }
  return content;
}

const JsonValue& object(const JsonValue& json, const char* name) {
  static const JsonValue empty;
  return member<JsonValue::Object>(json, name, "an object") == nullptr ? empty : *json.find(name);
}

const JsonValue::Array& array(const JsonValue& json, const char* name) {
  static const JsonValue::Array empty;
  const auto* const found = member<JsonValue::Array>(json, name, "an array");
  return found == nullptr ? empty : *found;
}

std::string text(const JsonValue& json, const char* name) {
  const auto* const found = member<std::string>(json, name, "a text");
  return found == nullptr ? "" : *found;
}

bool flag(const JsonValue& json, const char* name) {
  const auto* const found = member<bool>(json, name, "true or false");
  return found != nullptr && *found;
}

// The gateway writes numbers of 64 bits as texts, those of 32 bits as numbers.
std::int64_t number(const JsonValue& json, const char* name) {
  const auto* const found = json.find(name);
  if (found == nullptr) {
    return 0;
  }
  if (const auto* const plain = found->get<std::int64_t>()) {
    return *plain;
  }
  const auto* const digits = member<std::string>(json, name, "a number");
  std::int64_t value = 0;
  const auto* const end = digits->data() + digits->size();
  const auto [parsed, error] = std::from_chars(digits->data(), end, value);
  if (error != std::errc() || parsed != end) {
    refuse(name, "a number");
  }
  return value;
}

// The value of a stream is wrapped, and so is its failure.
const JsonValue& unwrap(const JsonValue& json) {
  if (const auto* const error = json.find("error")) {
    const bool isDetailed = error->get<JsonValue::Object>() != nullptr;
    throw std::runtime_error(isDetailed ? text(*error, "message") : text(json, "error"));
  }
  return object(json, "result");
}

bool hasPrefix(const std::string& key, const std::string& prefix) {
  return key.compare(0, prefix.size(), prefix) == 0;
}

StoredKey storedKey(const JsonValue& json) {
  return {fromBase64(text(json, "key")), fromBase64(text(json, "value")), number(json, "lease"),
          number(json, "mod_revision")};
}

Change change(const JsonValue& event) {
  return {text(event, "type") == "DELETE" ? Change::Kind::deleted : Change::Kind::put, storedKey(object(event, "kv"))};
}

LeaseAnswer leaseAnswer(const JsonValue& json) {
  return {number(json, "ID"), std::min(std::chrono::seconds(number(json, "TTL")), longestTtl)};
}

// Returns a member with bytes.
std::string encodeBytes(const char* name, const std::string& bytes) {
  return std::string("\"") + name + "\":\"" + toBase64(bytes) + "\"";
}

// Returns a member with a number.
std::string encodeNumber(const char* name, std::int64_t value) {
  return std::string("\"") + name + "\":\"" + std::to_string(value) + "\"";
}

std::string encodeRange(const std::string& prefix) {
  return encodeBytes("key", prefix) + "," + encodeBytes("range_end", endOfPrefix(prefix));
}

std::string encodeWrite(const std::string& prefix, const Write& write, LeaseId lease) {
  const auto key = encodeBytes("key", prefix + write.key);
  if (!write.value) {
    return "{\"request_delete_range\":{" + key + "}}";
  }
  return "{\"request_put\":{" + key + "," + encodeNumber("lease", lease) + "," + encodeBytes("value", *write.value) +
         "}}";
}

std::optional<Refusal> refusalOf(const JsonValue& json, const char* codeName, const char* messageName) {
  const auto* const code = json.find(codeName);
  const auto* const message = json.find(messageName);
  if (code == nullptr || code->get<std::int64_t>() == nullptr || message == nullptr ||
      message->get<std::string>() == nullptr) {
    return std::nullopt;
  }
  return Refusal{static_cast<int>(*code->get<std::int64_t>()), *message->get<std::string>()};
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
  return "{" + encodeRange(prefix) + "}";
}

std::string encodeProbe(const std::string& prefix) {
  return "{" + encodeBytes("key", prefix) + ",\"keys_only\":true}";
}

std::string encodeWatch(const std::string& prefix, Revision first) {
  return "{\"create_request\":{" + encodeRange(prefix) + "," + encodeNumber("start_revision", first) + "}}";
}

std::string encodeWrites(const std::string& prefix, const std::vector<Write>& writes, LeaseId lease) {
  std::string requests;
  for (const auto& one : writes) {
    requests += (requests.empty() ? "" : ",") + encodeWrite(prefix, one, lease);
  }
  return "{\"success\":[" + requests + "]}";
}

std::string encodeGrant(std::chrono::seconds ttl) {
  return "{" + encodeNumber("TTL", ttl.count()) + "}";
}

std::string encodeLease(LeaseId lease) {
  return "{" + encodeNumber("ID", lease) + "}";
}

std::string encodeUser(const std::string& user, const std::string& password) {
  return "{\"name\":" + quoteJson(user) + ",\"password\":" + quoteJson(password) + "}";
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
  const auto json = parse(message);
  const auto& result = unwrap(json);
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
  return leaseAnswer(unwrap(parse(body)));
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
  const auto json = JsonValue::parse(body);
  if (auto refusal = refusalOf(json, "code", "error")) {
    return *std::move(refusal);
  }
  if (const auto* const ofStream = json.find("error")) {
    if (auto refusal = refusalOf(*ofStream, "grpc_code", "message")) {
      return *std::move(refusal);
    }
  }
  const auto line = body.substr(0, std::min(body.find_first_of("\r\n"), longestQuote));
  return {0, "HTTP status " + std::to_string(status) + (line.empty() ? "" : ": " + line)};
}

}  // namespace agent::spf::etcd
