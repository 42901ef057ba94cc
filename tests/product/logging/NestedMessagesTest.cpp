#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

#include "setup/diagnosticLog.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::logProgress;
using agent::spf::frameworksetup::logSwallowedException;

namespace {

// Writes a message, and once more while a sink takes it. Returns all messages.
template <class Write>
std::vector<std::string> nested(const Write& write) {
  RecordedLog log(~0u);
  bool isInside = false;
  log.onRecord([&](const LogRecord&) {
    if (!std::exchange(isInside, true)) {
      write();
    }
  });
  write();
  return log.messages();
}

using Twice = std::vector<std::string>;

}  // namespace

TEST(ASink, MayUseWhatWritesTheSameMessage) {
  EXPECT_EQ(nested([] { logProgress("x"); }), (Twice{"x", "x"}));
  EXPECT_EQ(nested([] { logProgress("x ", std::string("y")); }), (Twice{"x y", "x y"}));
  EXPECT_EQ(nested([] { logProgress("x ", Any(1)); }), (Twice{"x 1", "x 1"}));
  EXPECT_EQ(nested([] { logSwallowedException("x"); }), (Twice{"x", "x"}));
}

}  // namespace spf::test
