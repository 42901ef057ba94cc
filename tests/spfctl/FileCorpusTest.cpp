#include "Replay.hpp"

namespace spf::test {

TEST(TheCorpusOfFiles, IsReadSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
