#include "Replay.hpp"

namespace spf::test {

TEST(TheBuilderCorpus, IsWorkedOffCorrectly) {
  replay(SPF_CORPUS);
}

}  // namespace spf::test
