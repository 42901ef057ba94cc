#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/Registry.hpp"

namespace agent::spf::etcd {

/// Reads the records of a registry's entries again and again, and warns of each value that cannot be read once.
/// Not synchronised.
class RecordReader {
 public:
  /// \param warning  called with a message that names the key; may be empty
  explicit RecordReader(std::function<void(const std::string&)> warning);

  /// Returns the records in the order of their keys, without those that cannot be read.
  std::vector<NameRecord> read(const Registry::Entries& entries);

 private:
  std::function<void(const std::string&)> warning_;
  Registry::Entries refused_;  // what the last reading could not read
};

}  // namespace agent::spf::etcd
