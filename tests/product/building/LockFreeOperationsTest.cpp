#include "publish/SPFConfigurationImpl.hpp"
#include "support/Locking.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::SPFConfigurationImpl;

class NoLockIsTakenBy : public testing::Test {
 protected:
  static SPFConfigurationBuilder filled() {
    SPFConfigurationBuilder builder("x");
    builder.addServiceInterfaceToServicePublisher("p", serviceInterface("i")).addServicePublisher(publisher("p"));
    return builder;
  }

  HostDouble hostWithoutFramework_;
};

TEST_F(NoLockIsTakenBy, ABuilderThatIsMadeEditedAndMoved) {
  const MutexFailure failure;
  auto sut = filled();
  sut.addServiceInterface(serviceInterface("i", "again"))
      .addServiceInterfaceToAllServicePublishers(serviceInterface("j"))
      .addServiceInterface("k", "n", {})
      .addServiceInterfaceToAllServicePublishers("k", "n", {})
      .addServiceInterfaceToServicePublisher("p", "k", "n", {})
      .addServicePublisherAny("q", "rpcservicepublisher", {}, {}, "", "")
      .addServiceMapping("j", "p")
      .addServicePublisher("q", "rpcservicepublisher", {"c"}, {"b"}, "", "")
      .undoMappingOfServiceInterfaceToAllServicePublishers("j")
      .removeServiceMapping("j", "p")
      .removeServiceInterface("i")
      .removeServicePublisher("q");
  SPFConfigurationBuilder other(std::move(sut));
  sut = std::move(other);
}

TEST_F(NoLockIsTakenBy, AHandleThatIsReadModifiedAndMoved) {
  auto sut = filled().build();
  const MutexFailure failure;
  EXPECT_FALSE(sut.empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_EQ(sut.getServiceInterfaceConfigurations().size(), 1u);
  EXPECT_EQ(sut.getServicePublisherConfigurations().size(), 1u);
  EXPECT_EQ(sut.getServiceInterfaceConfigurationsForServicePublisher("p").size(), 1u);
  SPFConfiguration other(std::move(sut));
  sut = std::move(other);
  const auto builder = sut.modify();
  sut.reset();
}

// The double of the host locks once in each of its functions: seven installations and one look-up.
TEST_F(NoLockIsTakenBy, AConfigurationThatIsPublishedNowhereAndDestroyed) {
  int locked = 0;
  {
    const LockingHook hook([&] { ++locked; });
    const SPFConfigurationImpl sut("x", 0, {}, {}, {});
  }
  EXPECT_EQ(locked, 8);
}

}  // namespace spf::test
