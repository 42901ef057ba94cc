#include "Replay.hpp"

namespace spf::test {

TEST(TheEtcdCorpus, IsReadSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
