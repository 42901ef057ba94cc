#include "display/ProgressDisplay.hpp"

#include <gtest/gtest.h>

#include <sstream>

namespace spf::test {

using namespace spfctl;

PublisherState state(std::string id, std::vector<std::string> toConnect, std::vector<std::string> toBind,
                     bool published, std::string error = "") {
  return {std::move(id), std::move(toConnect), std::move(toBind), published, std::move(error)};
}

TEST(AProgressDisplay, DescribesWhatIsOutstanding) {
  EXPECT_EQ(describe(state("p", {"c", "d"}, {"b"}, false)), "to bind b; to connect c d; services not published");
  EXPECT_EQ(describe(state("p", {"c"}, {}, true)), "to connect c");
  EXPECT_EQ(describe(state("p", {}, {}, false)), "services not published");
  EXPECT_EQ(describe(state("p", {}, {}, true)), "ready");
  EXPECT_EQ(describe(state("p", {}, {"b"}, false, "port taken")), "failed: port taken");
}

TEST(AProgressDisplay, WritesOneLinePerChangeWhereThereIsNoTerminal) {
  std::ostringstream out;
  ProgressDisplay sut(out, 0);
  sut.show({state("p", {}, {"b"}, false), state("q", {}, {}, true)});
  sut.show({state("p", {}, {"b"}, false), state("q", {}, {}, true)});
  sut.show({state("p", {}, {}, true), state("q", {}, {}, true)});
  EXPECT_EQ(out.str(), "p: to bind b; services not published\nq: ready\np: ready\n");
}

TEST(AProgressDisplay, DrawsOneBlockAnewWithEachChangeOnATerminal) {
  std::ostringstream out;
  ProgressDisplay sut(out, 80);
  sut.show({state("p", {}, {"b"}, false), state("q", {}, {}, true)});
  sut.show({state("p", {}, {"b"}, false), state("q", {}, {}, true)});
  sut.show({state("p", {}, {}, true), state("q", {}, {}, true)});
  EXPECT_EQ(out.str(),
            "\x1b[2Kp: to bind b; services not published\n\x1b[2Kq: ready\n"
            "\x1b[2A\x1b[2Kp: ready\n\x1b[2Kq: ready\n");
}

TEST(AProgressDisplay, CutsLinesThatWouldWrap) {
  std::ostringstream out;
  ProgressDisplay sut(out, 10);
  sut.show({state("p", {}, {"0123456789"}, false)});
  EXPECT_EQ(out.str(), "\x1b[2Kp: to bin\n");
}

TEST(AProgressDisplay, WritesNothingForAConfigurationWithoutPublishers) {
  std::ostringstream out;
  ProgressDisplay(out, 0).show({});
  ProgressDisplay(out, 80).show({});
  EXPECT_EQ(out.str(), "");
}

}  // namespace spf::test
