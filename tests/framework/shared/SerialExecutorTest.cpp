#include "agent/spf/frameworksupport/SerialExecutor.hpp"

#include <memory>

#include <gmock/gmock.h>
#include "spf/test/Gate.hpp"

namespace {

using agent::spf::frameworksupport::SerialExecutor;

TEST(ASerialExecutor, MayBeStoppedByItsOwnTask) {
  spf::test::Gate isPosted;
  spf::test::Gate isStopped;
  spf::test::Gate hasRunTheRest;
  SerialExecutor sut;
  sut.post([&] {
    EXPECT_TRUE(isPosted.wait());
    EXPECT_NO_THROW(sut.stop());
    EXPECT_FALSE(sut.post([] {}));
    isStopped.open();
  });
  sut.post([&] { hasRunTheRest.open(); });
  isPosted.open();
  EXPECT_TRUE(isStopped.wait());
  EXPECT_TRUE(hasRunTheRest.wait());
}

TEST(ASerialExecutor, MayBeDestroyedByItsOwnTask) {
  spf::test::Gate isPosted;
  spf::test::Gate hasRunTheRest;
  auto sut = std::make_shared<SerialExecutor>();
  sut->post([&, owner = sut]() mutable {
    EXPECT_TRUE(isPosted.wait());
    owner.reset();
  });
  sut->post([&] { hasRunTheRest.open(); });
  sut.reset();
  isPosted.open();
  EXPECT_TRUE(hasRunTheRest.wait());
}

}  // namespace
