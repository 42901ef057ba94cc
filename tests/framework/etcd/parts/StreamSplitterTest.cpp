#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include "StreamSplitter.hpp"

namespace agent::spf::etcd {

using Values = std::vector<std::string>;

TEST(AStreamSplitter, FindsTheSameValuesHoweverTheStreamIsCut) {
  const std::string stream = "{\"a\":1}\n\n{\"b\":\"\\n\"}\n{}\n{\"rest";
  for (std::size_t size = 1; size <= stream.size(); ++size) {
    StreamSplitter sut(100);
    Values values;
    for (std::size_t at = 0; at < stream.size(); at += size) {
      for (auto& value : sut.push(std::string_view(stream).substr(at, size))) {
        values.push_back(value);
      }
    }
    EXPECT_EQ(values, (Values{"{\"a\":1}", "{\"b\":\"\\n\"}", "{}"})) << "pieces of " << size;
  }
}

TEST(AStreamSplitter, TakesValuesUpToItsLimit) {
  StreamSplitter sut(3);
  EXPECT_EQ(sut.push("abc\nde"), Values{"abc"});
  EXPECT_EQ(sut.push("f\n"), Values{"def"});
}

TEST(AStreamSplitter, RefusesALongerValueInOnePieceOrInMany) {
  StreamSplitter sut(3);
  EXPECT_THROW(sut.push("abcd\n"), std::runtime_error);
  StreamSplitter other(3);
  EXPECT_EQ(other.push("abc"), Values());
  EXPECT_THROW(other.push("d"), std::runtime_error);
}

}  // namespace agent::spf::etcd
