#include "tracking/SPFConfigurationUpdateTracker.hpp"

#include <dlfcn.h>

#include <functional>
#include <ostream>

#include "support/TestFramework.hpp"

namespace {

std::function<void()> onRegistrationDestroyed;

}  // namespace

// The destructor that every registration ends with. Comes before the runtime's own when the program is
// linked.
extern "C" [[gnu::visibility("default")]] void registrationDestructor(void* registration) asm(
    "_ZN16cppmicroservices23ServiceRegistrationBaseD2Ev");
extern "C" void registrationDestructor(void* registration) {
  static const auto original =
      reinterpret_cast<void (*)(void*)>(dlsym(RTLD_NEXT, "_ZN16cppmicroservices23ServiceRegistrationBaseD2Ev"));
  if (onRegistrationDestroyed) {
    onRegistrationDestroyed();
  }
  original(registration);
}

namespace spf::test {

using agent::spf::frameworksetup::SPFConfigurationUpdateTracker;

// Shows by its count whether the listener that holds it is still there.
struct Mark {
  std::shared_ptr<int> shared = std::make_shared<int>();
};

bool operator==(const Mark& left, const Mark& right) {
  return left.shared == right.shared;
}

std::ostream& operator<<(std::ostream& stream, const Mark&) {
  return stream << "mark";
}

AnyMap propertiesWith(const Mark& mark) {
  const AnyMap config({{"endpointsToBindTo", Any(List{Any(mark)})}, {"endpointsToConnectTo", Any(List())}});
  const AnyMap publisher({{"uniqueID", text("p")}, {"name", text("rpcservicepublisher")}, {"config", Any(config)}});
  return AnyMap({{"modificationCount", Any(1)}, {"servicePublisherConfigurations", Any(List{Any(publisher)})}});
}

TEST(AnUpdateTracker, DestroysItsRegistrationBeforeItsListener) {
  TestFramework framework;
  const Mark mark;
  auto sut = SPFConfigurationUpdateTracker::create(propertiesWith(mark));
  ASSERT_EQ(mark.shared.use_count(), 2);
  long lastSeen = 0;
  onRegistrationDestroyed = [&] { lastSeen = mark.shared.use_count(); };
  sut.reset();
  onRegistrationDestroyed = nullptr;
  EXPECT_EQ(lastSeen, 2);
  EXPECT_EQ(mark.shared.use_count(), 1);
}

}  // namespace spf::test
