#include "Replay.hpp"

namespace spf::test {

TEST(TheHandshakeCorpus, IsJudgedSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
