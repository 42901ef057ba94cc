#include <gmock/gmock.h>
#include "spf/test/Watchdog.hpp"

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new spf::test::Watchdog(240));
  return RUN_ALL_TESTS();
}
