#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "ConfigurationRecord.hpp"

namespace cppmicroservices::configurationadmin {

/// The records of all configurations that exist. Not synchronised.
class ConfigurationTable {
 public:
  /// Returns the record of that PID; creates one if there is none.
  RecordPtr obtain(const std::string& pid);

  /// Returns the record of that PID; null if there is none.
  RecordPtr find(const std::string& pid) const;

  /// Creates a record of that factory, with a PID that was never used before.
  RecordPtr create(const std::string& factoryPid);

  /// Removes the record, unless another one has its PID already.
  void remove(const ConfigurationRecord& record);

  /// Returns the configurations that were updated at least once, ordered by PID.
  std::vector<ConfigurationState> listUpdated() const;

 private:
  RecordPtr add(const std::string& pid, std::string reportedFactoryPid);
  std::string makeRandomName();

  std::unordered_map<std::string, RecordPtr> records_;
  std::unordered_map<std::string, unsigned long> instanceCounts_;
  std::minstd_rand random_{std::random_device{}()};
};

}  // namespace cppmicroservices::configurationadmin
