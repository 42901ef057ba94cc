#include "Replay.hpp"

namespace spf::test {

TEST(TheFilterCorpus, IsTakenWithoutHarm) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
