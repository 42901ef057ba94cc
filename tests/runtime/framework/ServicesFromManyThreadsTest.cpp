#include <cppmicroservices/ServiceEvent.h>

#include <memory>
#include <thread>
#include <vector>

#include "TestFramework.hpp"
#include "spf/test/Gate.hpp"

namespace {

using namespace cppmicroservices;
using namespace spf::test;

struct Interface {
  int value = 0;
};

class ABusyServiceRegistry : public StartedFramework {
 protected:
  /// Runs the function on several threads at the same time.
  template <class Function>
  void onThreads(int count, Function function) {
    Gate go;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < count; ++thread) {
      threads.emplace_back([&, thread] {
        EXPECT_TRUE(go.wait());
        function(thread);
      });
    }
    go.open();
    for (auto& thread : threads) {
      thread.join();
    }
  }
};

TEST_F(ABusyServiceRegistry, AllowsManyThreadsThatRegisterFindGetAndUnregister) {
  constexpr int rounds = 200;
  std::atomic<int> registered{0};
  std::atomic<int> unregistered{0};
  context().AddServiceListener([&](const ServiceEvent& event) {
    (event.GetType() == ServiceEvent::SERVICE_REGISTERED ? registered : unregistered)++;
  });
  onThreads(8, [&](int thread) {
    auto sut = framework.GetBundleContext();
    for (int round = 0; round < rounds; ++round) {
      auto token = sut.AddServiceListener([](const ServiceEvent&) {}, "(thread=" + std::to_string(thread) + ")");
      auto service = std::make_shared<Interface>();
      service->value = thread;
      auto registration =
          sut.RegisterService<Interface>(service, {{"thread", thread}, {Constants::SERVICE_RANKING, round % 3}});
      const auto mine = sut.GetServiceReferences<Interface>("(thread=" + std::to_string(thread) + ")");
      ASSERT_EQ(mine.size(), 1u);
      EXPECT_EQ(sut.GetService(mine[0])->value, thread);
      // Another thread's service may be unregistered at any moment.
      try {
        if (const auto found = sut.GetService(sut.GetServiceReference<Interface>())) {
          EXPECT_LT(found->value, 8);
        }
      } catch (const std::invalid_argument&) {
      }
      sut.RemoveListener(std::move(token));
      registration.Unregister();
    }
  });
  EXPECT_EQ(registered, 8 * rounds);
  EXPECT_EQ(unregistered, 8 * rounds);
  EXPECT_TRUE(framework.GetBundleContext().GetServiceReferences("").empty());
}

TEST_F(ABusyServiceRegistry, UnregistersAServiceOnceIfManyThreadsTry) {
  for (int round = 0; round < 50; ++round) {
    auto registration = context().RegisterService<Interface>(std::make_shared<Interface>());
    std::atomic<int> events{0};
    auto token = context().AddServiceListener([&](const ServiceEvent&) { ++events; });
    onThreads(3, [&](int) {
      auto copy = registration;
      try {
        copy.Unregister();
      } catch (const std::logic_error&) {
      }
    });
    context().RemoveListener(std::move(token));
    EXPECT_EQ(events, 1);
  }
}

TEST_F(ABusyServiceRegistry, MayBeUsedWhileTheFrameworkStops) {
  Gate running;
  std::thread user([&] {
    auto sut = framework.GetBundleContext();
    try {
      while (true) {
        auto registration = sut.RegisterService<Interface>(std::make_shared<Interface>());
        sut.GetService(registration.GetReference());
        registration.Unregister();
        running.open();
      }
    } catch (const std::exception&) {
      // The context became invalid.
    }
  });
  EXPECT_TRUE(running.wait());
  stopAndWait(framework);
  user.join();
}

#ifdef SPF_RUNTIME_BUNDLED
// In these cases, other implementations are known to crash.

TEST_F(ABusyServiceRegistry, KeepsItsOrderWhileRankingsChange) {
  std::vector<ServiceRegistration<Interface>> registrations;
  for (int i = 0; i < 4; ++i) {
    registrations.push_back(context().RegisterService<Interface>(std::make_shared<Interface>()));
  }
  onThreads(4, [&](int thread) {
    for (int round = 0; round < 200; ++round) {
      registrations[static_cast<std::size_t>(thread)].SetProperties(
          {{Constants::SERVICE_RANKING, (round * 7 + thread) % 5}});
      EXPECT_TRUE(framework.GetBundleContext().GetServiceReference<Interface>());
    }
  });
  const auto references = context().GetServiceReferences<Interface>();
  ASSERT_EQ(references.size(), 4u);
  for (std::size_t i = 1; i < references.size(); ++i) {
    EXPECT_TRUE(references[i] < references[i - 1]);
  }
}

#endif

}  // namespace
