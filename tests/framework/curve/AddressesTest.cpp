#include <string>

#include <gmock/gmock.h>
#include "Process.hpp"

namespace spf::test {

using testing::HasSubstr;
using testing::IsEmpty;

class AnEndpointWithAKey : public testing::Test {
 protected:
  static std::string failureOf(const Process::Opened& opened) {
    return opened.endpoint->waitFor([](const Reports& reports) { return !reports.changes.empty(); }).last();
  }

  Process sut{"alice"};
  Process plain{""};
};

TEST_F(AnEndpointWithAKey, IsNotConnectedToAnAddressWithoutTheNameOfAKey) {
  EXPECT_EQ(failureOf(sut.connect("tcp://127.0.0.1:5555", "")),
            "failed: cannot open 'tcp://127.0.0.1:5555' (discovery name 'server'): the name of the peer's key is "
            "missing; expected 'tcp://<host>:<port>#<name>'");
}

TEST_F(AnEndpointWithAKey, IsNotConnectedByAProcessWithoutAKey) {
  EXPECT_THAT(failureOf(plain.connect("tcp://127.0.0.1:5555", "bob")),
              HasSubstr("the peer has to prove the key of 'bob', but this process has no key"));
}

TEST_F(AnEndpointWithAKey, IsNotConnectedByOtherTransports) {
  for (const std::string address : {"ipc://@station", "inproc://station"}) {
    EXPECT_THAT(failureOf(sut.connect(address, "bob")),
                HasSubstr("the name of a key, 'bob', is for connections by tcp only"));
  }
}

TEST_F(AnEndpointWithAKey, IsNotConnectedToAPeerWithoutAProperName) {
  EXPECT_THAT(failureOf(sut.connect("tcp://127.0.0.1:5555", "../bob")),
              HasSubstr("'../bob' is no name of a key; expected 1 to 64 letters"));
}

TEST_F(AnEndpointWithAKey, IsNotBound) {
  EXPECT_THAT(failureOf(sut.bind("tcp://127.0.0.1:*", "bob")),
              HasSubstr("the name of a key, 'bob', is for connections only"));
  EXPECT_THAT(failureOf(plain.bind("tcp://127.0.0.1:*", "bob")),
              HasSubstr("the name of a key, 'bob', is for connections only"));
}

TEST_F(AnEndpointWithAKey, MayBeClosedWhileItWaitsForTheKey) {
  const auto connected = sut.connect("tcp://127.0.0.1:5555", "bob");
  connected.endpoint->waitForReason("no key of 'bob' is trusted");
  sut.transport().close(connected.id);
  EXPECT_THAT(connected.endpoint->waitForChange("closed").changes, testing::ElementsAre("closed"));
}

TEST(APlainTransport, WarnsOnceIfOtherMachinesReachAnEndpoint) {
  Process sut("");
  EXPECT_THAT(sut.bound("tcp://127.0.0.1:*").endpoint->reports().warnings, IsEmpty());
  const auto outside = sut.bound("tcp://0.0.0.0:*").endpoint;
  const auto reports = outside->waitFor([](const Reports& all) { return !all.warnings.empty(); });
  EXPECT_THAT(reports.warnings,
              testing::ElementsAre("'" + reports.address +
                                   "' can be reached from other machines, without encryption: whoever reaches it is "
                                   "served"));
  const auto second = sut.bound("tcp://0.0.0.0:*");
  sut.stop();
  EXPECT_THAT(second.endpoint->reports().warnings, IsEmpty());
}

TEST(AnEncryptedTransport, DoesNotWarnOfItsEndpoints) {
  Process sut("alice");
  const auto bound = sut.bound("tcp://0.0.0.0:*");
  sut.stop();
  EXPECT_THAT(bound.endpoint->reports().warnings, IsEmpty());
}

}  // namespace spf::test
