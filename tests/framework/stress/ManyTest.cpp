#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <ostream>
#include <string>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/Resources.hpp"
#include "support/RunningFramework.hpp"
#include "zeromq/DescriptorLimit.hpp"

namespace {

using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::openDescriptors;
using frameworktest::raiseDescriptorLimit;
using frameworktest::residentMemory;
using frameworktest::reusesMemory;
using frameworktest::RunningFramework;
using testing::IsEmpty;

constexpr int manyEndpoints = 2000;
constexpr rlim_t descriptorsOfManyEndpoints = 5 * manyEndpoints;

TEST(APublisherWithTwoThousandEndpoints, BindsThemAll) {
  if (raiseDescriptorLimit() < descriptorsOfManyEndpoints) {
    GTEST_SKIP() << "too few file descriptors are allowed";
  }
  RunningFramework framework;
  Configuration configuration(1);
  configuration.publisher("station");
  for (int i = 0; i < manyEndpoints; ++i) {
    configuration.bind(freeAddress());
  }
  framework.update("weather", configuration);
  EXPECT_NE(framework.events().waitFor("published station#1"), "");
  EXPECT_EQ(framework.events().linesWith("bound").size(), manyEndpoints);
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
  std::cout << manyEndpoints << " endpoints use " << openDescriptors() << " descriptors\n";
  framework.remove("weather");
  EXPECT_NE(framework.events().waitFor("unpublished station#1"), "");
}

TEST(APublisherWithTwoThousandEndpoints, FailsWithTheLimitWhenDescriptorsRunOutAndHarmsNoOther) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  RunningFramework framework;
  Configuration small(1);
  small.publisher("small").bind(freeAddress());
  framework.update("small", small);
  EXPECT_NE(framework.events().waitFor("published small#1"), "");
  const auto before = openDescriptors();
  Configuration configuration(1);
  configuration.publisher("station");
  for (int i = 0; i < manyEndpoints; ++i) {
    configuration.bind(freeAddress());
  }
  {
    // Enough for some hundred endpoints, so that the limit is met by a real one in the middle.
    const frameworktest::DescriptorLimit limit(static_cast<rlim_t>(before) + 1000);
    framework.update("weather", configuration);
    EXPECT_THAT(framework.events().waitFor("error station#1"),
                testing::HasSubstr("the process has reached its limit of"));
    EXPECT_THAT(framework.events().linesWith("error small"), IsEmpty());
    framework.remove("weather");
    EXPECT_NE(framework.events().waitFor("unpublished station#1"), "");
  }
  // Few are enough for another one.
  framework.update("next", Configuration(1).publisher("next").bind(freeAddress()));
  EXPECT_NE(framework.events().waitFor("published next#1"), "");
  EXPECT_THAT(framework.events().linesWith("unpublished small"), IsEmpty());
}

TEST(AFramework, StartsAThousandTimesWithAllBundlesAndLeavesNothing) {
  const auto live = [] {
    RunningFramework framework;
    framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()));
    ASSERT_NE(framework.events().waitFor("published station#1"), "");
  };
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), std::filesystem::directory_iterator());
  };
  // What is loaded once stays loaded.
  for (int round = 0; round < 20; ++round) {
    ASSERT_NO_FATAL_FAILURE(live());
  }
  const auto descriptors = openDescriptors();
  const auto threadsBefore = threads();
  const auto memory = residentMemory();
  for (int round = 0; round < 1000; ++round) {
    ASSERT_NO_FATAL_FAILURE(live());
  }
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(threads(), threadsBefore);
  if (reusesMemory) {
    EXPECT_LE(residentMemory(), memory + 4);
  }
}

constexpr int allowedDescriptors = 20;
constexpr std::size_t allowedGrowth = 50;  // MiB

/// Waits until the process has no more descriptors than given, because ZeroMQ closes sockets with a delay.
void awaitDescriptors(std::ptrdiff_t most) {
  const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
  while (openDescriptors() > most && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
}

/// A kind of address, and a function that makes the one of each round.
struct Kind {
  const char* name;
  std::function<std::string(const std::string& folder, int i)> address;
};

void PrintTo(const Kind& kind, std::ostream* out) {
  *out << kind.name;
}

class TwoThousandConfigurations : public testing::TestWithParam<Kind> {};

const Kind kinds[] = {
    {"Tcp", [](const std::string&, int) { return freeAddress(); }},
    {"Ipc", [](const std::string& folder, int i) { return "ipc://" + folder + "/" + std::to_string(i); }},
    {"Inproc", [](const std::string&, int i) { return "inproc://" + std::to_string(i); }},
};

INSTANTIATE_TEST_SUITE_P(Of, TwoThousandConfigurations, testing::ValuesIn(kinds),
                         [](const auto& kind) { return kind.param.name; });

// Each has a bound endpoint, a connection to it, and a connection without a peer.
TEST_P(TwoThousandConfigurations, LeaveNoDescriptorsAndLittleMemoryBehind) {
  constexpr int configurations = 2000;
  constexpr int warmUp = 200;
  std::string folder = (std::filesystem::temp_directory_path() / "spf-many-XXXXXX").native();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  std::ptrdiff_t descriptors = 0;
  std::size_t memory = 0;
  RunningFramework framework;
  for (int i = 1; i <= configurations; ++i) {
    const auto id = "p" + std::to_string(i);
    const auto origin = id + "#1";
    const auto address = GetParam().address(folder, i);
    const auto nobody = GetParam().address(folder, -i);
    framework.update(id, Configuration(1).publisher(id).bind(address).connect(address).connect(nobody));
    ASSERT_NE(framework.events().waitFor("connected " + origin), "");
    ASSERT_NE(framework.events().waitFor("published " + origin), "");
    framework.remove(id);
    ASSERT_NE(framework.events().waitFor("unpublished " + origin), "");
    framework.events().clear();
    if (i == warmUp) {
      descriptors = openDescriptors();
      memory = residentMemory();
    }
  }
  awaitDescriptors(descriptors + allowedDescriptors);
  std::cout << GetParam().name << ": " << descriptors << " descriptors and " << memory << " MiB after " << warmUp
            << " configurations, " << openDescriptors() << " and " << residentMemory() << " after " << configurations
            << "\n";
  EXPECT_LE(openDescriptors(), descriptors + allowedDescriptors);
  EXPECT_TRUE(!reusesMemory || residentMemory() <= memory + allowedGrowth);
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  std::filesystem::remove_all(folder);
}

}  // namespace
