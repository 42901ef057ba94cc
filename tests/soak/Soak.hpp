#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Faults.hpp"
#include "Life.hpp"
#include "Random.hpp"
#include "agent/host/host.hpp"

namespace spf::soak {

/// What a process holds when no host runs.
struct Holdings {
  long descriptors = 0;
  long threads = 0;
  long allocations = 0;
  long residentMiB = 0;
};

/// Runs cycles of lives, several at a time, with faults, in a host of its own.
class Soak {
 public:
  explicit Soak(std::uint32_t seed);
  ~Soak();
  Soak(const Soak&) = delete;
  Soak& operator=(const Soak&) = delete;

  /// Lets some lives run, in about every second cycle with a fault, and repairs what that leaves.
  /// \throws Violation if something happens that must not
  void cycle();

  /// Runs each kind of fault once, and remembers what the process holds then.
  void warmUp();

  /// Stops the host, and compares what the process holds with what it held after the warm-up.
  /// \throws Violation if it is more
  void finish();

  long cycles() const { return cycles_; }

  /// Returns the kind of fault of the cycle that runs or was the last one.
  const std::string& fault() const { return fault_; }

  void printTo(std::ostream& out) const;

 private:
  class Lives;

  void start();
  void stop();
  void cycle(const KindOfFault* kind);
  void repair(Damage damage);
  void removeConfigurations() const;
  void requireNoListeners() const;

  Random random_;
  std::unique_ptr<agent::host::services::Host> host_;
  int firstNumber_ = 0;
  long cycles_ = 0;
  long lives_ = 0;
  long hosts_ = 0;
  std::string fault_;
  std::map<std::string, long> faults_;
  Holdings before_;
  Holdings after_;
};

}  // namespace spf::soak
