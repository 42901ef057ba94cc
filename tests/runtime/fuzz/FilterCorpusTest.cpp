#include "Replay.hpp"

namespace spf::test {

TEST(TheFilterCorpus, IsReadSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
