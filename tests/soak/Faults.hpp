#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Random.hpp"

namespace spf::soak {

/// Something that goes wrong for as long as it lives.
class Fault {
 public:
  Fault() = default;
  virtual ~Fault() = default;
  Fault(const Fault&) = delete;
  Fault& operator=(const Fault&) = delete;

  /// On each thread that lives a life, before and after it.
  virtual void enter(Random&) {}
  virtual void leave() {}

  /// In the middle of the lives, on the thread that has constructed it.
  virtual void strike() {}
};

/// What a kind of fault leaves behind.
enum class Damage {
  none,            ///< lives must succeed in spite of it
  configurations,  ///< lives may fail, and their configurations may stay published
  framework        ///< besides, only a new framework is sure to work
};

struct KindOfFault {
  std::string name;
  Damage damage;
  std::function<std::unique_ptr<Fault>(Random&)> make;
};

/// All kinds, in a fixed order.
const std::vector<KindOfFault>& kindsOfFaults();

}  // namespace spf::soak
