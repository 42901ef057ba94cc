#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;

std::vector<std::string> keysOf(const AnyMap& map) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : map) {
    keys.push_back(key);
  }
  return keys;
}

/// Tests what is true of every type of map.
class AMap : public testing::TestWithParam<AnyMap::map_type> {
 protected:
  AnyMap make(std::initializer_list<AnyMap::value_type> entries = {}) { return AnyMap(GetParam(), entries); }
};

INSTANTIATE_TEST_SUITE_P(OfEachType, AMap,
                         testing::Values(AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP,
                                         AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

TEST_P(AMap, IsEmptyAtFirst) {
  const auto sut = make();

  EXPECT_EQ(sut.GetType(), GetParam());
  EXPECT_TRUE(sut.empty());
  EXPECT_EQ(sut.size(), 0u);
  EXPECT_TRUE(sut.begin() == sut.end());
}

TEST_P(AMap, TakesTheFirstOfEntriesWithOneKey) {
  const auto sut = make({{"k", Any(1)}, {"k", Any(2)}});

  EXPECT_EQ(sut.size(), 1u);
  EXPECT_EQ(sut.at("k"), 1);
}

TEST_P(AMap, FindsItsEntries) {
  const auto sut = make({{"k", Any(1)}, {"l", Any(2)}});

  EXPECT_EQ(sut.count("k"), 1u);
  EXPECT_EQ(sut.count("m"), 0u);
  EXPECT_EQ(sut.find("l")->second, 2);
  EXPECT_TRUE(sut.find("m") == sut.end());
}

TEST_P(AMap, ThrowsForAKeyThatItDoesNotHold) {
  auto sut = make();
  const auto& constant = sut;

  const auto says =
      testing::ThrowsMessage<std::out_of_range>(GetParam() == AnyMap::ORDERED_MAP ? "map::at" : "unordered_map::at");

  EXPECT_THAT([&] { sut.at("k"); }, says);
  EXPECT_THAT([&] { constant.at("k"); }, says);
}

TEST_P(AMap, AddsAnEmptyValueForANewKey) {
  auto sut = make();
  EXPECT_TRUE(sut["k"].Empty());
  sut["k"] = 1;
  std::string key = "k";
  EXPECT_EQ(sut[std::move(key)], 1);
  EXPECT_EQ(sut.size(), 1u);
}

TEST_P(AMap, TakesARvalueKeyOnlyForANewEntry) {
  auto sut = make({{"a key that is long enough to be moved", Any(1)}});
  std::string known = "a key that is long enough to be moved";
  sut[std::move(known)] = 2;
  EXPECT_EQ(known, "a key that is long enough to be moved");
  std::string unknown = "a new key that is long enough to be moved";
  sut[std::move(unknown)] = 3;
  EXPECT_EQ(unknown, "");
}

TEST_P(AMap, LeavesAnEntryUnchangedWhenItIsInsertedAgain) {
  auto sut = make();
  const auto inserted = sut.insert({"k", Any(1)});
  const auto again = sut.insert({"k", Any(2)});
  const auto emplaced = sut.emplace("l", 3);
  const auto emplacedAgain = sut.emplace(std::string("l"), Any(4));

  EXPECT_TRUE(inserted.second);
  EXPECT_FALSE(again.second);
  EXPECT_EQ(again.first->second, 1);
  EXPECT_TRUE(emplaced.second);
  EXPECT_FALSE(emplacedAgain.second);
  EXPECT_EQ(emplacedAgain.first->second, 3);
  EXPECT_EQ(sut.size(), 2u);
}

TEST_P(AMap, LetsItsEntriesBeErasedAndCleared) {
  auto sut = make({{"k", Any(1)}, {"l", Any(2)}});
  EXPECT_EQ(sut.erase("k"), 1u);
  EXPECT_EQ(sut.erase("k"), 0u);
  EXPECT_EQ(sut.size(), 1u);
  sut.clear();
  EXPECT_TRUE(sut.empty());
}

TEST_P(AMap, IsCopiedDeeply) {
  const auto original = make({{"k", Any(make({{"l", Any(1)}}))}});
  auto copy = original;
  cppmicroservices::ref_any_cast<AnyMap>(copy.at("k"))["l"] = 2;

  EXPECT_EQ(original.AtCompoundKey("k.l"), 1);
  EXPECT_EQ(copy.GetType(), GetParam());
}

TEST_P(AMap, EqualsOneWithTheSameKeysAndValues) {
  const auto sut = make({{"k", Any(1)}, {"l", Any(std::string("x"))}});

  EXPECT_TRUE(sut == make({{"l", Any(std::string("x"))}, {"k", Any(1)}}));
  EXPECT_FALSE(sut != sut);
  EXPECT_FALSE(sut == make({{"k", Any(1)}}));
  EXPECT_FALSE(sut == make({{"k", Any(1)}, {"l", Any(std::string("y"))}}));
  EXPECT_FALSE(sut == make({{"K", Any(1)}, {"l", Any(std::string("x"))}}));
  EXPECT_TRUE(make() == make());
}

TEST_P(AMap, NeverEqualsOneOfAnotherType) {
  for (const auto type : {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
    EXPECT_EQ(make() == AnyMap(type), type == GetParam());
  }
}

TEST_P(AMap, MayBeSwapped) {
  auto sut = make({{"k", Any(1)}});
  AnyMap other(AnyMap::ORDERED_MAP, {{"l", Any(2)}, {"m", Any(3)}});
  std::swap(sut, other);

  EXPECT_EQ(sut.GetType(), AnyMap::ORDERED_MAP);
  EXPECT_EQ(sut.size(), 2u);
  EXPECT_EQ(other.at("k"), 1);
}

TEST_P(AMap, MayBeAssignedAPartOfItself) {
  auto sut = make({{"k", Any(AnyMap(AnyMap::ORDERED_MAP, {{"l", Any(1)}}))}});
  sut = AnyMap(cppmicroservices::ref_any_cast<AnyMap>(sut.at("k")));
  EXPECT_EQ(sut.at("l"), 1);
}

TEST_P(AMap, MayHoldACopyOfItself) {
  auto sut = make({{"k", Any(1)}});
  sut["self"] = sut;

  EXPECT_EQ(sut.AtCompoundKey("self.k"), 1);
}

TEST_P(AMap, KnowsItsTypeAndMayBeMovedAndAssignedAfterAMove) {
  auto sut = make({{"k", Any(1)}});
  const AnyMap moved(std::move(sut));
  EXPECT_EQ(sut.GetType(), GetParam());
  const AnyMap again(std::move(sut));
  sut = moved;
  EXPECT_EQ(sut, moved);
}

#ifdef SPF_RUNTIME_BUNDLED
TEST_P(AMap, IsAnEmptyOneOfItsTypeAfterAMove) {
  auto sut = make({{"k", Any(1)}});
  const AnyMap moved(std::move(sut));
  EXPECT_EQ(moved.size(), 1u);
  EXPECT_EQ(sut, make());
  sut["l"] = 2;
  EXPECT_EQ(sut.at("l"), 2);

  const Any holder(std::move(sut));
  EXPECT_EQ(sut.size(), 0u);
  EXPECT_EQ(sut.count("l"), 0u);
  EXPECT_TRUE(sut.begin() == sut.end());
  const auto copy = sut;
  EXPECT_EQ(copy.GetType(), GetParam());

  AnyMap assigned;
  sut["m"] = 3;
  assigned = std::move(sut);
  EXPECT_EQ(assigned.at("m"), 3);
  EXPECT_EQ(sut, make());
}

TEST_P(AMap, MayBeMovedToMapsOfEachTypeWhetherEmptyOrNot) {
  for (const auto type : {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
    for (const auto& old : {AnyMap(type), AnyMap(type, {{"old", Any(1)}})}) {
      auto sut = make({{"k", Any(1)}, {"l", Any(2)}});
      const auto expected = sut;
      const Any* const value = &sut.at("k");
      auto to = old;

      to = std::move(sut);

      EXPECT_EQ(to, expected);
      EXPECT_EQ(to.GetType(), GetParam());
      EXPECT_EQ(&to.at("k"), value);
      EXPECT_EQ(sut, make());
      sut["m"] = 3;
      EXPECT_EQ(sut.at("m"), 3);
      EXPECT_EQ(to, expected);
    }
  }
}

TEST_P(AMap, IsEmptiedByAMoveOfAnEmptyMap) {
  auto sut = make({{"k", Any(1)}});

  sut = make();

  EXPECT_EQ(sut, make());
}

TEST_P(AMap, SurvivesAMoveToItself) {
  auto sut = make({{"k", Any(1)}});
  auto& same = sut;
  sut = std::move(same);

  EXPECT_EQ(sut.at("k"), 1);
}

TEST_P(AMap, MayBeComparedIfAValueIsEmpty) {
  const auto sut = make({{"k", Any()}});

  EXPECT_FALSE(sut == AnyMap(sut));
  EXPECT_FALSE(sut == make({{"k", Any(1)}}));
  EXPECT_FALSE(make({{"k", Any(1)}}) == sut);
}

TEST_P(AMap, MayBeAssignedAPartOfItselfDirectly) {
  auto sut = make({{"k", Any(make({{"l", Any(1)}}))}});
  sut = cppmicroservices::ref_any_cast<AnyMap>(sut.at("k"));
  EXPECT_EQ(sut.at("l"), 1);

  sut = make({{"k", Any(make({{"l", Any(2)}}))}});
  sut = std::move(cppmicroservices::ref_any_cast<AnyMap>(sut.at("k")));
  EXPECT_EQ(sut.at("l"), 2);
}
#endif

TEST(AnAnyMap, IgnoresTheCaseOfKeysByDefault) {
  EXPECT_EQ(AnyMap().GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  EXPECT_EQ((AnyMap{{"k", Any(1)}, {"l", Any(2)}}).GetType(), AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

TEST(AnAnyMap, TakesItsTypeFromTheMapItIsMadeOf) {
  const AnyMap::ordered_any_map ordered{{"k", Any(1)}};
  const AnyMap::unordered_any_map unordered{{"k", Any(1)}};
  const AnyMap::unordered_any_cimap caseInsensitive{{"k", Any(1)}};

  EXPECT_EQ(AnyMap(ordered), AnyMap(AnyMap::ORDERED_MAP, {{"k", Any(1)}}));
  EXPECT_EQ(AnyMap(unordered), AnyMap(AnyMap::UNORDERED_MAP, {{"k", Any(1)}}));
  EXPECT_EQ(AnyMap(caseInsensitive), AnyMap({{"k", Any(1)}, {"k", Any(2)}}));
  EXPECT_EQ(AnyMap(AnyMap::ordered_any_map(ordered)).size(), 1u);
  EXPECT_EQ(AnyMap(AnyMap::unordered_any_map(unordered)).size(), 1u);
  EXPECT_EQ(AnyMap(AnyMap::unordered_any_cimap(caseInsensitive)).size(), 1u);
}

TEST(AnAnyMap, NumbersItsTypes) {
  static_assert(std::is_same_v<std::underlying_type_t<AnyMap::map_type>, std::uint8_t>);
  EXPECT_EQ(AnyMap::ORDERED_MAP, 0);
  EXPECT_EQ(AnyMap::UNORDERED_MAP, 1);
  EXPECT_EQ(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, 2);
}

template <class Map>
using Subscribed = decltype(std::declval<Map>()[std::declval<const std::string&>()]);
template <class Map>
using ComparedFromItsEnd = decltype(std::declval<Map&>().end() != std::declval<Map&>().find(std::string()));
template <class Map>
using ComparedToItsEnd = decltype(std::declval<Map&>().find(std::string()) != std::declval<Map&>().end());
template <class Map>
using InsertedOrAssigned = decltype(std::declval<Map&>().insert_or_assign(std::string(), Any()));
template <class Map>
using AskedWhetherItContains = decltype(std::declval<Map&>().contains(std::string()));
template <class Map>
using SwappedByItsOwn = decltype(std::declval<Map&>().swap(std::declval<Map&>()));
template <class Map>
using FilledFromARange =
    decltype(std::declval<Map&>().insert(std::declval<Map&>().begin(), std::declval<Map&>().end()));
template <class Map>
using ErasedAtAPlace = decltype(std::declval<Map&>().erase(std::declval<Map&>().begin()));
template <class Map>
using ReadBackwards = decltype(std::declval<Map&>().rbegin());

template <template <class...> class Use, class Map, class = void>
inline constexpr bool allows = false;
template <template <class...> class Use, class Map>
inline constexpr bool allows<Use, Map, std::void_t<Use<Map>>> = true;

TEST(AnAnyMap, FindsEntriesThatCannotBeChanged) {
  static_assert(std::is_same_v<decltype(std::declval<AnyMap&>().find("")), AnyMap::const_iterator>);
  static_assert(allows<Subscribed, AnyMap&> && !allows<Subscribed, const AnyMap&>);
  static_assert(allows<ComparedToItsEnd, AnyMap> && !allows<ComparedFromItsEnd, AnyMap>);
}

TEST(AnAnyMap, LacksTheMembersOfStandardMapsOnly) {
  using StandardMap = std::map<std::string, Any>;
  static_assert(allows<InsertedOrAssigned, StandardMap> && !allows<InsertedOrAssigned, AnyMap>);
  static_assert(allows<SwappedByItsOwn, StandardMap> && !allows<SwappedByItsOwn, AnyMap>);
  static_assert(allows<FilledFromARange, StandardMap> && !allows<FilledFromARange, AnyMap>);
  static_assert(allows<ErasedAtAPlace, StandardMap> && !allows<ErasedAtAPlace, AnyMap>);
  static_assert(allows<ReadBackwards, StandardMap> && !allows<ReadBackwards, AnyMap>);
  static_assert(!allows<AskedWhetherItContains, AnyMap>);
}

TEST(AnAnyMap, IsNotMadeOfItsBase) {
  EXPECT_FALSE((std::is_constructible_v<AnyMap, const any_map&>));
}

TEST(AnAnyMap, IsOrderedByBytes) {
  const AnyMap sut(AnyMap::ORDERED_MAP, {{"a", Any(1)}, {"B", Any(1)}, {"", Any(1)}, {"\xc3\xa4", Any(1)}});

  EXPECT_THAT(keysOf(sut), testing::ElementsAre("", "B", "a", "\xc3\xa4"));
}

TEST(AnAnyMap, FoldsAsciiLettersInKeysOnly) {
  AnyMap sut;
  sut["Key with MORE than eight letters"] = 1;
  sut["\xc3\xa4"] = 2;
  sut["[@`{"] = 3;
  sut[std::string("a\0B", 3)] = 4;

  EXPECT_EQ(sut.count("kEY WITH more THAN EIGHT LETTERS"), 1u);
  EXPECT_EQ(sut.count("\xc3\x84"), 0u);
  EXPECT_EQ(sut.count("{`@["), 0u);
  EXPECT_EQ(sut.count("{``["), 0u);
  EXPECT_EQ(sut.count(std::string("A\0b", 3)), 1u);
  EXPECT_EQ(sut.count(std::string("A\0c", 3)), 0u);
  EXPECT_EQ(sut.count("a"), 0u);
}

TEST(AnAnyMap, FoldsEveryLetterAtEveryPlace) {
  for (int c = 0; c < 256; ++c) {
    for (std::size_t place = 0; place < 17; ++place) {
      std::string key(17, 'x');
      key[place] = static_cast<char>(c);
      AnyMap sut;
      sut[key] = 1;
      std::string other = key;
      other[place] = static_cast<char>(c ^ 0x20);
      const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      ASSERT_EQ(sut.count(other), isLetter ? 1u : 0u) << "byte " << c << " at " << place;
    }
  }
}

TEST(AnAnyMap, KeepsTheFirstCaseVariantOfAKey) {
  AnyMap sut;
  sut["Key"] = 1;
  sut["KEY"] = 2;
  EXPECT_THAT(keysOf(sut), testing::ElementsAre("Key"));
  EXPECT_EQ(sut.at("key"), 2);
  sut.erase("KEY");
  sut["KEY"] = 3;
  EXPECT_THAT(keysOf(sut), testing::ElementsAre("KEY"));
}

TEST(AnAnyMap, TakesTheFirstOfEntriesWhoseKeysDifferInCase) {
  const AnyMap sut{{"Key", Any(1)}, {"KEY", Any(2)}};

  EXPECT_THAT(keysOf(sut), testing::ElementsAre("Key"));
  EXPECT_EQ(sut.at("key"), 1);
}

}  // namespace
