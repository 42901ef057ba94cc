#include "HandshakeLedger.hpp"

#include <gtest/gtest.h>

namespace {

class AHandshakeLedger : public testing::Test {
 protected:
  void accept(std::initializer_list<int> connections) {
    for (const int connection : connections) {
      sut.accepted(connection);
    }
  }

  /// Returns how many of the ends count as silent failures.
  int silentFailures(std::initializer_list<int> ended) {
    int count = 0;
    for (const int connection : ended) {
      count += sut.ended(connection) ? 1 : 0;
    }
    return count;
  }

  spf::zeromq::HandshakeLedger sut;
};

TEST_F(AHandshakeLedger, CountsAConnectionThatEndsWithoutAReport) {
  accept({1});
  EXPECT_TRUE(sut.ended(1));
}

TEST_F(AHandshakeLedger, CountsEachOfManyOnce) {
  accept({1, 2, 3});
  EXPECT_EQ(silentFailures({3, 1, 2}), 3);
  EXPECT_EQ(silentFailures({1, 2, 3}), 0);
}

TEST_F(AHandshakeLedger, DoesNotCountAConnectionWithAReport) {
  accept({1});
  sut.reported();
  EXPECT_FALSE(sut.ended(1));
}

TEST_F(AHandshakeLedger, DoesNotCountConnectionsThatWereNeverAccepted) {
  EXPECT_FALSE(sut.ended(1));
}

TEST_F(AHandshakeLedger, ForgetsAReportWithoutAConnection) {
  sut.reported();
  accept({1});
  EXPECT_TRUE(sut.ended(1));
}

TEST_F(AHandshakeLedger, TakesADescriptorThatIsUsedAgainForAnotherConnection) {
  accept({1});
  sut.reported();
  EXPECT_FALSE(sut.ended(1));
  accept({1});
  EXPECT_TRUE(sut.ended(1));
}

TEST_F(AHandshakeLedger, DoesNotCountIfEachOfSeveralConnectionsHasAReport) {
  accept({1, 2, 3});
  sut.reported();
  sut.reported();
  sut.reported();
  EXPECT_EQ(silentFailures({1, 2, 3}), 0);
}

// One of them has succeeded, for example, and nobody knows which one.
TEST_F(AHandshakeLedger, NeverCountsTooManyOfSeveralConnections) {
  accept({1, 2});
  sut.reported();
  EXPECT_FALSE(sut.ended(1));
}

TEST_F(AHandshakeLedger, CountsOfSeveralConnectionsThoseThatNoReportExplains) {
  accept({1, 2, 3});
  sut.reported();
  EXPECT_FALSE(sut.ended(2));
  EXPECT_TRUE(sut.ended(1));
  EXPECT_TRUE(sut.ended(3));
}

TEST_F(AHandshakeLedger, DoesNotDoubtConnectionsThatWereAcceptedAfterAReport) {
  accept({1, 2});
  sut.reported();
  accept({3});
  EXPECT_TRUE(sut.ended(3));
}

TEST_F(AHandshakeLedger, DoubtsALaterConnectionIfAReportMayBeAboutIt) {
  accept({1, 2});
  sut.reported();
  accept({3});
  sut.reported();
  EXPECT_EQ(silentFailures({1, 2, 3}), 1);
}

TEST_F(AHandshakeLedger, IsCertainAgainOnceAllReportsAreExplained) {
  accept({1, 2});
  sut.reported();
  sut.reported();
  accept({3});
  EXPECT_TRUE(sut.ended(3));
  accept({4});
  sut.reported();
  EXPECT_EQ(silentFailures({4, 1, 2}), 0);
}

}  // namespace
