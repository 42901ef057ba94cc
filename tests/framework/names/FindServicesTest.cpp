#include <algorithm>
#include <atomic>
#include <exception>
#include <memory>
#include <thread>

#include <cppmicroservices/ServiceRegistration.h>
#include "agent/spf/frameworksupport/findService.hpp"
#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworksupport::findServices;
using frameworktest::RunningFramework;

struct Counted {
  virtual ~Counted() = default;
};

TEST(TheLookUpOfAllServices, LeavesOutThoseThatAreUnregisteredMeanwhile) {
  RunningFramework framework;
  auto context = framework.context();
  const auto lasting = std::make_shared<Counted>();
  const auto registration = context.RegisterService<Counted>(lasting);
  std::atomic<bool> isDone{false};
  spf::test::Counter rounds;
  std::thread other([&] {
    while (!isDone) {
      context.RegisterService<Counted>(std::make_shared<Counted>()).Unregister();
      rounds.add();
    }
  });
  // Until the other thread has come and gone often enough to be met between the two calls.
  int failures = 0;
  while (failures == 0 && rounds.count() < 20000) {
    try {
      const auto found = findServices<Counted>(context);
      failures += std::find(found.begin(), found.end(), lasting) == found.end() ? 1 : 0;
    } catch (const std::exception&) {
      ++failures;
    }
  }
  isDone = true;
  other.join();
  EXPECT_EQ(failures, 0);
}

}  // namespace
