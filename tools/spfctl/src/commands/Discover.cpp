#include "commands/Discover.hpp"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <mutex>
#include <ostream>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/etcd/Registry.hpp"
#include "agent/spf/frameworksupport/deadlineAfter.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "commands/Changes.hpp"
#include "commands/frameworkOptions.hpp"
#include "discovery/FollowedNames.hpp"
#include "discovery/nameTexts.hpp"
#include "display/terminalText.hpp"

namespace spfctl {

namespace {

using agent::spf::etcd::NameRecord;
using agent::spf::etcd::Registry;
using agent::spf::frameworksupport::deadlineAfter;
using std::chrono::system_clock;

/// What the thread of a registry reports to the one that waits. Synchronised by itself.
class News {
 public:
  Registry::Callbacks callbacks() {
    return {[this] { changes_.note(); }, [this](const std::string& warning) { add(warning); }};
  }

  unsigned long count() const { return changes_.count(); }

  void waitForMoreThan(unsigned long seen, std::chrono::steady_clock::time_point deadline) {
    changes_.waitForMoreThan(seen, deadline);
  }

  /// Returns the warnings since the last call.
  std::vector<std::string> takeWarnings() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(warnings_, {});
  }

 private:
  void add(const std::string& warning) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      warnings_.push_back(warning);
    }
    changes_.note();
  }

  Changes changes_;
  std::mutex mutex_;
  // Guarded by `mutex_`:
  std::vector<std::string> warnings_;
};

/// One look at etcd, from the first listing on.
class Looking {
 public:
  Looking(const DiscoverOptions& options, const agent::spf::etcd::Settings& settings, const Output& output)
      : options_(options),
        prefix_(settings.prefix),
        output_(output),
        names_(options.name),
        registry_(settings, news_.callbacks()) {}

  /// Waits for the first listing. What failed in time is known to be out of reach; what did not may still answer.
  /// \return the exit code, `done` if it has arrived
  ExitCode waitUntilListed() {
    const auto deadline = deadlineAfter(options_.timeout);
    auto seen = news_.count();
    while (!registry_.isListed() && std::chrono::steady_clock::now() < deadline) {
      news_.waitForMoreThan(seen, deadline);
      seen = news_.count();
    }
    const bool hasFailed = !news_.takeWarnings().empty();
    if (registry_.isListed()) {
      return ExitCode::done;
    }
    warn(hasFailed ? "etcd cannot be reached: " + registry_.trouble() : "no answer from etcd in time");
    return hasFailed ? ExitCode::failedAtRunTime : ExitCode::notReadyInTime;
  }

  std::vector<NameRecord> records() {
    update();
    return names_.records();
  }

  /// Prints changes until nobody reads them any more.
  ExitCode follow() {
    unproven_ = registry_.trouble();
    while (!output_.isAbandoned()) {
      const auto seen = news_.count();
      for (const auto& change : update()) {
        const auto now = system_clock::now();
        output_.out << (options_.json ? changeAsJson(change, now) : changeLine(change, now)) << std::endl;
      }
      if (!output_.out.good()) {
        break;
      }
      reportTrouble();
      news_.waitForMoreThan(seen, deadlineAfter(std::chrono::milliseconds::max()));
    }
    return ExitCode::done;
  }

 private:
  void warn(const std::string& message) const { output_.err << "spfctl discover: " << escaped(message) << std::endl; }

  std::vector<NameChange> update() {
    auto update = names_.update(registry_.entries());
    for (const auto& [key, reason] : update.unreadable) {
      warn("warning: key '" + prefix_ + key + "' is left out: " + reason);
    }
    return std::move(update.changes);
  }

  // The registry warns once for failures that follow one another closely; who was told that all is well has to hear of
  // each.
  void reportTrouble() {
    auto warnings = news_.takeWarnings();
    const auto trouble = registry_.trouble();
    if (warnings.empty() && !trouble.empty() && trouble != unproven_) {
      warnings.push_back(trouble);
    }
    if (!isInTrouble_ && !warnings.empty()) {
      warn("warning: " + warnings.front());
      isInTrouble_ = true;
    }
    if (trouble.empty()) {
      unproven_.clear();
      if (isInTrouble_) {
        warn("etcd answers again");
        isInTrouble_ = false;
      }
    }
  }

  const DiscoverOptions& options_;
  const std::string prefix_;
  const Output& output_;
  FollowedNames names_;
  std::string unproven_;  // the trouble before the first watch stands, which is no failure
  bool isInTrouble_ = false;
  News news_;
  Registry registry_;  // after what its thread uses
};

std::vector<NameRecord> recordsOf(const CheckedTable& table, const std::string& name) {
  std::vector<NameRecord> records;
  for (const auto& [entry, addresses] : table.addresses) {
    for (const auto& address : addresses) {
      if (name.empty() || name == entry) {
        NameRecord record;
        const auto split = agent::spf::frameworksupport::splitKey(address);  // the table was checked
        record.name = entry;
        record.address = split.address;
        record.key = split.key;
        records.push_back(std::move(record));
      }
    }
  }
  return records;
}

ExitCode print(const std::vector<NameRecord>& records, const DiscoverOptions& options, const Output& output) {
  if (options.json) {
    output.out << namesAsJson(records);
  } else if (!records.empty()) {
    printNames(output.out, records, system_clock::now());
  }
  if (records.empty()) {
    output.err << "spfctl discover: "
               << (options.name.empty() ? "no name stands for an address"
                                        : "the name '" + options.name + "' stands for no address")
               << '\n';
  }
  return records.empty() && !options.name.empty() ? ExitCode::failedAtRunTime : ExitCode::done;
}

// Adds the names that a table does not have: a host looks up no others in etcd.
std::vector<NameRecord> withAnnounced(std::vector<NameRecord> fixed, const std::vector<NameRecord>& announced) {
  std::set<std::string> names;
  for (const auto& record : fixed) {
    names.insert(record.name);
  }
  std::copy_if(announced.begin(), announced.end(), std::back_inserter(fixed),
               [&](const NameRecord& record) { return names.count(record.name) == 0; });
  std::stable_sort(fixed.begin(), fixed.end(),
                   [](const NameRecord& left, const NameRecord& right) { return left.name < right.name; });
  return fixed;
}

ExitCode lookAtEtcd(const DiscoverOptions& options, std::vector<NameRecord> records, const Output& output) {
  const auto settings = etcdSettings(options.framework);
  if (!settings) {
    return print(records, options, output);
  }
  Looking looking(options, *settings, output);
  const auto code = looking.waitUntilListed();
  if (code != ExitCode::done || options.watch) {
    return code != ExitCode::done ? code : looking.follow();
  }
  return print(withAnnounced(std::move(records), looking.records()), options, output);
}

}  // namespace

ExitCode discover(const DiscoverOptions& options, const Output& output) {
  try {
    std::vector<NameRecord> records;
    if (!options.framework.table.empty()) {
      const auto table = loadTable(options.framework.table, output.err);
      if (!table) {
        return ExitCode::invalidConfiguration;
      }
      records = recordsOf(*table, options.name);
    }
    return lookAtEtcd(options, std::move(records), output);
  } catch (const std::exception& error) {
    output.err << "spfctl discover: " << escaped(error.what()) << std::endl;
    return ExitCode::failedAtRunTime;
  }
}

}  // namespace spfctl
