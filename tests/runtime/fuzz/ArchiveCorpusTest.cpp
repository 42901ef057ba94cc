#include "Replay.hpp"

namespace spf::test {

TEST(TheArchiveCorpus, IsReadSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
