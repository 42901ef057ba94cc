#include "Replay.hpp"

namespace spf::test {

TEST(ThePeerCorpus, IsReadSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
