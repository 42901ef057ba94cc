#include "Replay.hpp"

namespace spf::test {

TEST(ThePropertyTreeCorpus, IsWorkedOffCorrectly) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
