#include "retryInterrupted.hpp"

#include <cerrno>

#include <gmock/gmock.h>

namespace {

using spf::zeromq::retryInterrupted;

TEST(AnInterruptedCall, IsRepeated) {
  int calls = 0;
  const int result = retryInterrupted([&] {
    if (++calls < 3) {
      errno = EINTR;
      throw zmq::error_t();
    }
    return calls;
  });
  EXPECT_EQ(result, 3);
}

TEST(AnInterruptedCall, IsTheOnlyOneThatIsRepeated) {
  int calls = 0;
  EXPECT_THROW(retryInterrupted([&] {
                 ++calls;
                 errno = EADDRINUSE;
                 throw zmq::error_t();
               }),
               zmq::error_t);
  EXPECT_EQ(calls, 1);
}

}  // namespace
