#include "ConfigurationTable.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace cppmicroservices::configurationadmin {

RecordPtr ConfigurationTable::obtain(const std::string& pid) {
  auto record = find(pid);
  return record ? record : add(pid, factoryPartOf(pid));
}

RecordPtr ConfigurationTable::find(const std::string& pid) const {
  const auto found = records_.find(pid);
  return found == records_.end() ? nullptr : found->second;
}

RecordPtr ConfigurationTable::create(const std::string& factoryPid) {
  std::string pid;
  do {
    pid = factoryPid + '~' + makeRandomName();
  } while (instanceCounts_.count(pid) > 0);
  return add(pid, factoryPid);
}

void ConfigurationTable::remove(const ConfigurationRecord& record) {
  const auto found = records_.find(record.pid);
  if (found != records_.end() && found->second.get() == &record) {
    records_.erase(found);
  }
}

std::vector<ConfigurationState> ConfigurationTable::listUpdated() const {
  std::vector<ConfigurationState> states;
  for (const auto& [pid, record] : records_) {
    if (record->changeCount > 0) {
      states.push_back({record, record->properties});
    }
  }
  std::sort(states.begin(), states.end(),
            [](const auto& left, const auto& right) { return left.record->pid < right.record->pid; });
  return states;
}

RecordPtr ConfigurationTable::add(const std::string& pid, std::string reportedFactoryPid) {
  const auto instance = ++instanceCounts_[pid];
  auto record = std::make_shared<ConfigurationRecord>(pid, std::move(reportedFactoryPid), instance);
  records_[pid] = record;
  return record;
}

std::string ConfigurationTable::makeRandomName() {
  static constexpr std::string_view characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  std::uniform_int_distribution<std::size_t> position(0, characters.size() - 1);
  std::string name(6, '0');
  std::generate(name.begin(), name.end(), [&] { return characters[position(random_)]; });
  return name;
}

}  // namespace cppmicroservices::configurationadmin
