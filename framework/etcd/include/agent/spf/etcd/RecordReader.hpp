#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/Registry.hpp"

namespace agent::spf::etcd {

/// Reads the records of a registry's entries again and again, and warns of each key that cannot be read, once for as
/// long as it stays so. Values that have not changed since the last time are not read again. Not synchronised.
class RecordReader {
 public:
  /// \param warning  called with a message of limited length that names the key; may be empty
  explicit RecordReader(std::function<void(const std::string&)> warning);

  /// Returns the records in the order of their keys, without those that cannot be read.
  std::vector<NameRecord> read(const Registry::Entries& entries);

 private:
  /// The outcome of reading an entry.
  struct Reading {
    std::string value;
    std::optional<NameRecord> record;  ///< none if it cannot be read
  };

  Reading readAnew(const std::string& key, const std::string& value, bool isToWarn) const;

  std::function<void(const std::string&)> warning_;
  std::map<std::string, Reading> last_;  // by the entries' keys
};

}  // namespace agent::spf::etcd
