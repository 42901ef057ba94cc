#pragma once

#include <functional>

namespace spf::test {

/// Called before each flock of the product.
extern std::function<void()> onFlock;

/// Called at each accept of the product; returns true to let it fail, for want of file descriptors.
extern std::function<bool()> failsToAccept;

}  // namespace spf::test
