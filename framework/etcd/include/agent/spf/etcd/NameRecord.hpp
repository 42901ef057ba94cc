#pragma once

#include <chrono>
#include <string>
#include <utility>

#include "agent/spf/etcd/Registry.hpp"

namespace agent::spf::etcd {

/// One address that a host announces under a name: a key `NAME/ID` below the prefix, with a JSON value:
///
///     {"version": 1, "address": "tcp://10.0.0.1:5555", "key": "", "host": "alpha", "process": 4711,
///      "configuration": "demo", "since": "2026-11-22T12:00:00Z"}
struct NameRecord {
  std::string name;           ///< of letters, digits, '.', '_' and '-'
  std::string id;             ///< of the same characters; no other announcement of any process has it
  std::string address;        ///< `tcp://HOST:PORT`
  std::string key;            ///< the name of the key that the endpoint proves to peers; empty if it has none
  std::string host;           ///< the name of the machine
  long process = 0;           ///< the process's number there
  std::string configuration;  ///< the ID of the configuration that the endpoint belongs to
  std::chrono::system_clock::time_point since;  ///< when it was announced, by that machine's clock, in whole seconds
};

/// Returns the key, without the prefix, and the value of a record.
std::pair<std::string, std::string> encode(const NameRecord& record);

/// Reads a record. Members of the value that are not known are ignored.
/// \param key  without the prefix
/// \throws std::runtime_error  saying what is wrong with the key or the value
NameRecord decode(const std::string& key, const std::string& value);

}  // namespace agent::spf::etcd
