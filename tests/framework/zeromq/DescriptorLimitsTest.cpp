#include "descriptorLimits.hpp"

#include <algorithm>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>
#include "DescriptorLimit.hpp"

namespace {

using spf::zeromq::describeDescriptorLimit;
using spf::zeromq::maxSockets;
using spf::zeromq::requireDescriptors;
using testing::HasSubstr;

TEST(TheDescriptorLimits, AllowAsManySocketsAsThereMayBeDescriptors) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  EXPECT_EQ(maxSockets(), static_cast<int>(std::min(limit.rlim_max, rlim_t{65535})));
}

TEST(TheDescriptorLimits, AreDistinguished) {
  zmq::context_t context(1, 77);
  EXPECT_EQ(describeDescriptorLimit(context), "the limit of 77 ZeroMQ sockets is reached");
  EXPECT_NO_THROW(requireDescriptors());
  const frameworktest::DescriptorLimit limit(40);
  std::vector<int> descriptors;
  for (int descriptor = 0; descriptor >= 0;) {
    descriptor = eventfd(0, EFD_CLOEXEC);
    descriptors.push_back(descriptor);
  }
  // As many as a failed endpoint closes.
  for (int i = 0; i < 4; ++i) {
    close(descriptors[static_cast<std::size_t>(i)]);
  }
  EXPECT_THAT(describeDescriptorLimit(context), HasSubstr("limit of 40 open files"));
  EXPECT_THROW(requireDescriptors(), std::system_error);
  for (std::size_t i = 4; i + 1 < descriptors.size(); ++i) {
    close(descriptors[i]);
  }
}

}  // namespace
