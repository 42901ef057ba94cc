#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <memory>
#include <new>

#include "AllocationHook.hpp"
#include "TestFramework.hpp"

namespace spf::test {

namespace {

using namespace cppmicroservices;

struct Offered {
  virtual ~Offered() = default;
};

class InWantOfMemory : public StartedFramework {
 protected:
  /// Lets one allocation of an operation fail after the other, the first one first, until none does.
  /// \return how many failed
  template <class Operation, class AfterFailure>
  static int failEach(const Operation& operation, const AfterFailure& afterFailure) {
    for (int failing = 1;; ++failing) {
      try {
        const AllocationHook hook([failing](int number, std::size_t) {
          if (number == failing) {
            throw std::bad_alloc();
          }
        });
        operation();
        return failing - 1;
      } catch (const std::bad_alloc&) {
      }
      afterFailure();
    }
  }

  std::size_t services() { return context().GetServiceReferences<Offered>().size(); }
};

TEST_F(InWantOfMemory, ARegistrationThatThrowsLeavesNoService) {
  int heard = 0;
  context().AddServiceListener([&](const ServiceEvent&) { ++heard; });
  const auto service = std::make_shared<Offered>();
  auto bundleContext = context();
  // Twice, since what the first round has left for good is no more allocated in the second one.
  for (int round = 0; round < 2; ++round) {
    ServiceRegistration<Offered> registration;
    const int failures = failEach([&] { registration = bundleContext.RegisterService<Offered>(service); },
                                  [&] { EXPECT_EQ(services(), 0u); });
    EXPECT_GT(failures, 5);
    EXPECT_EQ(services(), 1u);
    registration.Unregister();
  }
  EXPECT_GT(heard, 0);
}

TEST_F(InWantOfMemory, AnUnregistrationThatThrowsHasEndedTheService) {
  context().AddServiceListener([](const ServiceEvent&) {});
  auto bundleContext = context();
  for (int failing = 1;; ++failing) {
    auto service = std::make_shared<Offered>();
    const std::weak_ptr<Offered> observed = service;
    auto registration = bundleContext.RegisterService<Offered>(std::exchange(service, nullptr));
    const auto reference = bundleContext.GetServiceReference<Offered>();
    const AllocationHook hook([failing](int number, std::size_t) {
      if (number == failing) {
        throw std::bad_alloc();
      }
    });
    bool hasThrown = false;
    try {
      registration.Unregister();
    } catch (const std::bad_alloc&) {
      hasThrown = true;
    }
    EXPECT_FALSE(reference) << failing;
    EXPECT_TRUE(observed.expired()) << failing;
    if (!hasThrown) {
      EXPECT_GT(failing, 1);
      return;
    }
  }
}

}  // namespace

}  // namespace spf::test
