#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class AnIterator : public testing::TestWithParam<AnyMap::map_type> {
 protected:
  AnyMap map{GetParam(), {{"a", Any(1)}, {"b", Any(2)}, {"c", Any(3)}}};
};

INSTANTIATE_TEST_SUITE_P(OfEachTypeOfMap, AnIterator,
                         testing::Values(AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                         AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

TEST_P(AnIterator, VisitsEveryEntryOnce) {
  std::string keys;
  int sum = 0;
  for (const auto& [key, value] : map) {
    keys += key;
    sum += any_cast<int>(value);
  }
  std::sort(keys.begin(), keys.end());

  EXPECT_EQ(keys, "abc");
  EXPECT_EQ(sum, 6);
}

TEST_P(AnIterator, LetsValuesBeChanged) {
  for (auto& [key, value] : map) {
    value = key;
  }
  map.begin()->second = std::string("first");

  EXPECT_EQ(map.begin()->second, std::string("first"));
  EXPECT_EQ(std::count_if(map.cbegin(), map.cend(), [](const auto& entry) { return entry.second == entry.first; }), 2);
}

TEST_P(AnIterator, StepsBeforeOrAfterItIsRead) {
  auto sut = map.begin();
  const auto first = sut->first;
  EXPECT_EQ((sut++)->first, first);
  EXPECT_NE(sut->first, first);
  const auto second = sut->first;
  EXPECT_NE((++sut)->first, second);
  EXPECT_TRUE(++sut == map.end());

  auto constant = map.cbegin();
  EXPECT_EQ((constant++)->first, first);
  EXPECT_EQ(constant->first, second);
  EXPECT_TRUE(++ ++constant == map.cend());
}

TEST_P(AnIterator, ConvertsToAConstantOne) {
  AnyMap::const_iterator sut = map.begin();
  EXPECT_TRUE(sut == map.cbegin());
  sut = map.end();
  EXPECT_TRUE(sut == map.cend());
  EXPECT_TRUE(map.find("a") != map.end());
}

TEST_P(AnIterator, IsCopiedIndependently) {
  const auto sut = map.cbegin();
  auto copy = sut;
  ++copy;

  EXPECT_TRUE(copy != sut);
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_P(AnIterator, MayBeAssigned) {
  AnyMap::iterator sut;
  const auto begin = map.begin();
  sut = begin;
  EXPECT_TRUE(sut == begin);
  auto& same = sut;
  sut = same;
  EXPECT_EQ(sut->first, begin->first);
  AnyMap other(AnyMap::ORDERED_MAP, {{"x", Any(1)}});
  sut = other.begin();
  EXPECT_EQ(sut->first, "x");
}
#endif

TEST(ADefaultIterator, EqualsAnother) {
  EXPECT_TRUE(AnyMap::iterator() == AnyMap::iterator());
  EXPECT_TRUE(AnyMap::const_iterator() == AnyMap::const_iterator());
}

TEST(ADefaultIterator, RefusesEveryUse) {
  const auto cannotRead = testing::ThrowsMessage<std::logic_error>("cannot dereference an invalid iterator");
  const auto cannotStep = testing::ThrowsMessage<std::logic_error>("cannot increment an invalid iterator");

  EXPECT_THAT([] { *AnyMap::iterator(); }, cannotRead);
  EXPECT_THAT([] { *AnyMap::const_iterator(); }, cannotRead);
  EXPECT_THAT([] { static_cast<void>(AnyMap::iterator()->first); }, cannotRead);
  EXPECT_THAT([] { ++AnyMap::iterator(); }, cannotStep);
  EXPECT_THAT([] { ++AnyMap::const_iterator(); }, cannotStep);
}

TEST(AnIteratorOfOneType, DiffersFromThatOfAnother) {
  EXPECT_FALSE(AnyMap(AnyMap::ORDERED_MAP).cend() == AnyMap(AnyMap::UNORDERED_MAP).cend());
  EXPECT_FALSE(AnyMap().cend() == AnyMap(AnyMap::UNORDERED_MAP).cend());
}

}  // namespace
