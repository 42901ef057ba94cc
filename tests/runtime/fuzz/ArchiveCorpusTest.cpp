#include "Replay.hpp"

namespace spf::test {

TEST(TheArchiveCorpus, IsTakenWithoutHarm) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
