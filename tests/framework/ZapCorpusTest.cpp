#include "Replay.hpp"

namespace spf::test {

TEST(TheZapCorpus, IsHandledSafely) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
