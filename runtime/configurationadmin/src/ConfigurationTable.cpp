#include "ConfigurationTable.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace cppmicroservices::configurationadmin {

RecordPtr ConfigurationTable::obtain(std::string const& pid) {
  auto record = find(pid);
  return record ? record : add(pid, factoryPartOf(pid));
}

RecordPtr ConfigurationTable::find(std::string const& pid) const {
  auto const found = records_.find(pid);
  return found == records_.end() ? nullptr : found->second;
}

RecordPtr ConfigurationTable::create(std::string const& factoryPid) {
  std::string pid;
  do {
    pid = factoryPid + '~' + randomName();
  } while (instanceCounts_.count(pid) > 0);
  return add(pid, factoryPid);
}

void ConfigurationTable::remove(ConfigurationRecord const& record) {
  auto const found = records_.find(record.pid);
  if (found != records_.end() && found->second.get() == &record) {
    records_.erase(found);
  }
}

std::vector<ConfigurationState> ConfigurationTable::updated() const {
  std::vector<ConfigurationState> states;
  for (auto const& [pid, record] : records_) {
    if (record->changeCount > 0) {
      states.push_back({record, record->properties});
    }
  }
  std::sort(states.begin(), states.end(),
            [](auto const& left, auto const& right) { return left.record->pid < right.record->pid; });
  return states;
}

RecordPtr ConfigurationTable::add(std::string const& pid, std::string reportedFactoryPid) {
  auto const instance = ++instanceCounts_[pid];
  auto record = std::make_shared<ConfigurationRecord>(pid, std::move(reportedFactoryPid), instance);
  records_[pid] = record;
  return record;
}

std::string ConfigurationTable::randomName() {
  static constexpr std::string_view characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  std::uniform_int_distribution<std::size_t> position(0, characters.size() - 1);
  std::string name(6, '0');
  std::generate(name.begin(), name.end(), [&] { return characters[position(random_)]; });
  return name;
}

}  // namespace cppmicroservices::configurationadmin
