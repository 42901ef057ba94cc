#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// The messages of etcd's JSON gateway: bytes are base64, numbers of 64 bits are texts, fields of value zero are left
/// out. Functions that decode throw std::runtime_error, saying what is wrong.
namespace agent::spf::etcd {

using LeaseId = std::int64_t;
using Revision = std::int64_t;

/// A key as a listing or a change contains it.
struct StoredKey {
  std::string key;  ///< without the prefix
  std::string value;
  LeaseId lease = 0;
  Revision revision = 0;  ///< of its last change
};

struct ListingAnswer {
  Revision revision = 0;  ///< of the whole store
  std::vector<StoredKey> keys;
};

struct LeaseAnswer {
  LeaseId id = 0;
  std::chrono::seconds ttl{0};  ///< zero if the lease does not exist
};

/// A change of a key.
struct Change {
  enum class Kind { put, deleted };
  Kind kind = Kind::put;
  StoredKey key;  ///< without a value if it was deleted
};

/// A message of a watch.
struct WatchAnswer {
  bool isCreated = false;
  bool isCancelled = false;
  Revision compacted = 0;  ///< the oldest revision that can be watched, if that is why the watch was cancelled
  std::string reason;      ///< why it was cancelled; may be empty
  std::vector<Change> changes;
};

/// An answer that is no success.
struct Refusal {
  int code = 0;  ///< gRPC's; zero if the body was not of the gateway
  std::string message;
};

/// A key to write, or to delete if it has no value.
struct Write {
  std::string key;  ///< without the prefix
  std::optional<std::string> value;
};

/// Returns the end of the range of all keys with a prefix.
std::string endOfPrefix(const std::string& prefix);

std::string encodeListing(const std::string& prefix);

/// Returns a read of one key, which hardly ever exists. The answer is small, and only a member that can reach the
/// majority gives it.
std::string encodeProbe(const std::string& prefix);

std::string encodeWatch(const std::string& prefix, Revision first);
std::string encodeWrites(const std::string& prefix, const std::vector<Write>& writes, LeaseId lease);
std::string encodeGrant(std::chrono::seconds ttl);
std::string encodeLease(LeaseId lease);
std::string encodeUser(const std::string& user, const std::string& password);

ListingAnswer decodeListing(const std::string& body, const std::string& prefix);
WatchAnswer decodeWatch(const std::string& message, const std::string& prefix);

/// Returns the revision that the store had after the writes.
Revision decodeRevision(const std::string& body);
LeaseAnswer decodeGrant(const std::string& body);
LeaseAnswer decodeKeepAlive(const std::string& body);
std::string decodeToken(const std::string& body);

/// Decodes the body of an answer that is no success. Never throws for what it contains.
Refusal decodeRefusal(const std::string& body, long status);

}  // namespace agent::spf::etcd
