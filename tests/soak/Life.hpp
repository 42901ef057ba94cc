#pragma once

#include <string>
#include <vector>

#include "Random.hpp"

namespace spf::soak {

/// One configuration with publishers and real endpoints, from its publication to its withdrawal.
class Life {
 public:
  enum class Expected {
    success,  ///< every step, within the tests' patience
    anything  ///< steps may fail, by a std::exception, or not end in time; what they leave behind is the caller's
  };

  /// \param number  of the life among those that run at the same time; its IDs are made of it
  Life(int number, Random random);

  /// Publishes, waits, perhaps modifies and waits again, withdraws in one of several ways, and waits for that.
  /// \throws Violation if something happens that must not
  void run(Expected expected);

  /// The IDs of all publishers that lives of this number may have.
  static std::vector<std::string> publisherIDs(int number);

  /// How many steps of `run` ended with an exception, over all lives.
  static long failedSteps();

 private:
  class Steps;

  const int number_;
  Random random_;
};

}  // namespace spf::soak
