#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "ConfigurationRecord.hpp"

namespace cppmicroservices::configurationadmin {

/// The configurations that there are. Not synchronised.
class ConfigurationTable {
 public:
  /// The record of that PID; a new one if there is none.
  RecordPtr obtain(const std::string& pid);

  /// The record of that PID; null if there is none.
  RecordPtr find(const std::string& pid) const;

  /// A new record of that factory, whose PID was never used before.
  RecordPtr create(const std::string& factoryPid);

  /// Takes the record out, unless another one has its PID already.
  void remove(const ConfigurationRecord& record);

  /// The configurations that were updated at least once, ordered by PID.
  std::vector<ConfigurationState> updated() const;

 private:
  RecordPtr add(const std::string& pid, std::string reportedFactoryPid);
  std::string randomName();

  std::unordered_map<std::string, RecordPtr> records_;
  std::unordered_map<std::string, unsigned long> instanceCounts_;
  std::minstd_rand random_{std::random_device{}()};
};

}  // namespace cppmicroservices::configurationadmin
