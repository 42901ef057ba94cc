#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "AllocationHook.hpp"
#include "TestFramework.hpp"

namespace spf::test {

namespace {

using namespace cppmicroservices;

struct Wanted {
  virtual ~Wanted() = default;
};
struct Other {
  virtual ~Other() = default;
};

/// Returns the number of allocations that the call makes on this thread.
template <class Call>
int allocationsOf(Call&& call) {
  const AllocationHook hook([](int, std::size_t) {});
  call();
  return hook.count();
}

class ALookUp : public StartedFramework {
 protected:
  template <class Service>
  void offer(int count) {
    for (int i = 0; i < count; ++i) {
      static_cast<void>(
          context().RegisterService<Service>(std::make_shared<Service>(), ServiceProperties{{"index", i}}));
    }
  }

  int costOfAll() {
    auto bundleContext = context();
    return allocationsOf([&] { bundleContext.GetServiceReferences<Wanted>(); });
  }
  int costOfMatching() {
    auto bundleContext = context();
    return allocationsOf([&] { bundleContext.GetServiceReferences<Wanted>("(index=0)"); });
  }
  int costOfBest() {
    auto bundleContext = context();
    return allocationsOf([&] { bundleContext.GetServiceReference<Wanted>(); });
  }
};

TEST_F(ALookUp, CostsTheSameWithManyServicesOfOtherInterfaces) {
  offer<Wanted>(10);
  const auto all = costOfAll();
  const auto matching = costOfMatching();
  const auto best = costOfBest();
  offer<Other>(1000);
  EXPECT_EQ(costOfAll(), all);
  EXPECT_EQ(costOfMatching(), matching);
  EXPECT_EQ(costOfBest(), best);
}

TEST_F(ALookUp, CostsInProportionToItsResults) {
  offer<Wanted>(100);
  const auto all = costOfAll();
  offer<Wanted>(900);
  EXPECT_LE(costOfAll(), 10 * all);
}

TEST_F(ALookUp, ChecksEachServiceOfTheInterfaceOnceIfThereIsAFilter) {
  offer<Wanted>(100);
  const auto matching = costOfMatching();
  offer<Wanted>(900);
  EXPECT_LE(costOfMatching(), 10 * matching);
}

TEST_F(ALookUp, OfTheBestServiceCostsTheSameAmongMany) {
  offer<Wanted>(1);
  const auto best = costOfBest();
  offer<Wanted>(999);
  EXPECT_EQ(costOfBest(), best);
}

TEST_F(ALookUp, OfPropertiesByAFilterAllocatesNothing) {
  offer<Wanted>(1);
  const auto reference = context().GetServiceReference<Wanted>();
  const LDAPFilter filter("(&(index=0)(service.scope=singleton))");
  EXPECT_EQ(allocationsOf([&] { EXPECT_TRUE(filter.Match(reference)); }), 0);
}

TEST(AMove, OfAMapAllocatesNothing) {
  for (const auto type : {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
    AnyMap from(type, {{"k", 1}, {"l", 2}});
    EXPECT_EQ(allocationsOf([&] {
                AnyMap to(std::move(from));
                from = std::move(to);
              }),
              0);
    EXPECT_EQ(from.size(), 2u);
  }
}

TEST(TheTextOfAnAny, CostsNoMoreThanItsCopy) {
  const Any text(std::string(100, 'x'));
  EXPECT_EQ(allocationsOf([&] { static_cast<void>(text.ToString()); }), 1);
  EXPECT_EQ(allocationsOf([&] { static_cast<void>(text.ToJSON()); }), 1);
  EXPECT_EQ(allocationsOf([] { static_cast<void>(Any(7).ToString()); }), 1);  // that of the Any itself
}

class AnUpdate : public StartedFramework {
 protected:
  AnUpdate() {
    auto bundles = context().InstallBundles(SPF_CONFIGURATION_ADMIN_FILE);
    bundles.at(0).Start();
    const auto reference = context().GetServiceReference<service::cm::ConfigurationAdmin>();
    sut = context().GetService(reference)->GetConfiguration("pid");
  }

  /// Returns the number of allocations of an update with that many entries, except those that make the map.
  int costWith(int entries) {
    AnyMap properties(AnyMap::UNORDERED_MAP);
    for (int i = 0; i < entries; ++i) {
      properties["a key that is too long to be kept in place " + std::to_string(i)] = std::string(100, 'x');
    }
    std::shared_future<void> done;
    const auto cost = allocationsOf([&] { done = sut->Update(std::move(properties)); });
    done.wait();
    return cost;
  }

  std::shared_ptr<service::cm::Configuration> sut;
};

TEST_F(AnUpdate, MovesItsMapAndCopiesNothing) {
  costWith(1);
  // The queue of deliveries may occasionally grow by a block.
  EXPECT_LE(costWith(1000), costWith(1) + 2);
}

}  // namespace

}  // namespace spf::test
