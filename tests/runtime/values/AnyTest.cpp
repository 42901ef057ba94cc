#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::BadAnyCastException;
using cppmicroservices::ref_any_cast;

enum Plain { first, second };

struct Transfers {
  int copies = 0;
  int moves = 0;
};

/// Counts its copies and moves; has no `==`.
struct Counted {
  explicit Counted(Transfers& count) : transfers(&count) {}
  Counted(const Counted& other) : transfers(other.transfers) { ++transfers->copies; }
  Counted(Counted&& other) noexcept : transfers(other.transfers) { ++transfers->moves; }

  Transfers* transfers;
};

std::ostream& operator<<(std::ostream& out, const Counted&) {
  return out << "counted";
}

/// Is small, but its move may throw.
struct Throwing {
  explicit Throwing(int v) : value(v) {}
  Throwing(const Throwing& other) : value(other.value) {
    if (value < 0) {
      throw 5;
    }
  }

  int value;
};

std::ostream& operator<<(std::ostream& out, const Throwing&) {
  return out;
}

TEST(AnAny, IsEmptyAtFirst) {
  const Any sut;

  EXPECT_TRUE(sut.Empty());
  EXPECT_TRUE(sut.Type() == typeid(void));
}

TEST(AnAny, HoldsTheDecayedType) {
  const std::string text = "x";
  std::string& reference = const_cast<std::string&>(text);

  EXPECT_TRUE(Any(text).Type() == typeid(std::string));
  EXPECT_TRUE(Any(reference).Type() == typeid(std::string));
  EXPECT_TRUE(Any(static_cast<const char*>("x")).Type() == typeid(const char*));
}

TEST(AnAny, HoldsEverythingThatCanBeCopiedAndStreamed) {
  EXPECT_EQ(any_cast<Plain>(Any(second)), second);
  EXPECT_EQ(any_cast<std::string_view>(Any(std::string_view("x"))), "x");
  EXPECT_EQ(*any_cast<std::shared_ptr<int>>(Any(std::make_shared<int>(5))), 5);
  EXPECT_EQ(any_cast<std::function<int()>>(Any(std::function<int()>([] { return 5; })))(), 5);
  EXPECT_EQ(any_cast<std::nullptr_t>(Any(nullptr)), nullptr);
  EXPECT_EQ(any_cast<std::set<int>>(Any(std::set<int>{1})), std::set<int>{1});
  EXPECT_EQ(any_cast<std::list<double>>(Any(std::list<double>{1})), std::list<double>{1});
  EXPECT_EQ((any_cast<std::map<std::string, Any>>(Any(std::map<std::string, Any>{{"k", Any(1)}})).at("k")), 1);
}

TEST(AnAny, CopiesAnotherOneInsteadOfHoldingIt) {
  Any original = 5;
  const Any copy(original);
  Any assigned;
  assigned = original;

  EXPECT_EQ(any_cast<int>(copy), 5);
  EXPECT_EQ(any_cast<int>(assigned), 5);
}

TEST(AnAny, HasAValueOfItsOwnInEachCopy) {
  const Any original = std::vector<Any>{Any(1)};
  Any copy = original;
  ref_any_cast<std::vector<Any>>(copy).front() = 2;

  EXPECT_EQ(ref_any_cast<std::vector<Any>>(original).front(), 1);
}

TEST(AnAny, CopiesItsValueOnlyWhenItIsCopied) {
  Transfers transfers;
  Any sut = Counted(transfers);
  Any moved = std::move(sut);
  sut = std::move(moved);
  EXPECT_EQ(transfers.copies, 0);

  const Any copy = sut;
  EXPECT_EQ(transfers.copies, 1);
}

TEST(AnAny, LeavesItsValueAloneWhenItIsMoved) {
  Transfers transfers;
  Any sut = Counted(transfers);
  transfers = Transfers();
  Any moved = std::move(sut);
  sut = std::move(moved);
  Any other = 1;
  sut.Swap(other);
  std::swap(sut, other);
  std::vector<Any> growing;
  growing.push_back(std::move(sut));
  growing.resize(100);

  EXPECT_EQ(transfers.copies, 0);
  EXPECT_EQ(transfers.moves, 0);
}

/// Returns whether a move leaves the value in its place.
template <class T>
bool staysWhenMoved(T value) {
  Any sut = std::move(value);
  const auto* const before = any_cast<T>(&sut);
  const Any constructed = std::move(sut);
  Any assigned;
  assigned = Any(constructed);
  const auto* const assignedBefore = any_cast<T>(&assigned);
  sut = std::move(assigned);
  return any_cast<T>(&constructed) == before && any_cast<T>(&sut) == assignedBefore;
}

TEST(AnAny, LeavesItsValueWhereItWasWhenItIsMoved) {
  EXPECT_TRUE(staysWhenMoved(true));
  EXPECT_TRUE(staysWhenMoved(5));
  EXPECT_TRUE(staysWhenMoved(0.5));
  EXPECT_TRUE(staysWhenMoved(std::string("short")));
  EXPECT_TRUE(staysWhenMoved(std::string(100, 'x')));
  EXPECT_TRUE(staysWhenMoved(std::vector<Any>{Any(1)}));
  EXPECT_TRUE(staysWhenMoved(AnyMap{{"key", Any(1)}}));
}

TEST(AnAny, IsEmptyAndUsableAfterAMove) {
  for (Any sut : {Any(1), Any(std::string(100, 'x')), Any(std::string("x")), Any(AnyMap())}) {
    const Any moved = std::move(sut);
    EXPECT_FALSE(moved.Empty());
    EXPECT_TRUE(sut.Empty());
    EXPECT_TRUE(sut.Type() == typeid(void));
    sut = 7;
    EXPECT_EQ(sut, 7);
  }
}

TEST(AnAny, SurvivesAnAssignmentToItself) {
  Any sut = std::string("text");
  Any& same = sut;
  sut = same;
  EXPECT_EQ(sut, std::string("text"));
  sut = std::move(same);
  EXPECT_EQ(sut, std::string("text"));
  sut.Swap(same);
  EXPECT_EQ(sut, std::string("text"));
}

TEST(AnAny, MayBeAssignedAPartOfItself) {
  Any sut = std::vector<Any>{Any(std::string("part"))};
  sut = Any(ref_any_cast<std::vector<Any>>(sut).front());
  EXPECT_EQ(sut, std::string("part"));

  sut = std::vector<Any>{Any(std::string("part"))};
  sut = ref_any_cast<std::vector<Any>>(sut).front();
  EXPECT_EQ(sut, std::string("part"));
}

TEST(AnAny, ExchangesItsValueWithAnother) {
  Any left = 1;
  Any right = std::string("text");
  left.Swap(right).Swap(left);

  EXPECT_EQ(left, std::string("text"));
  EXPECT_EQ(right, 1);
}

TEST(AnAny, KeepsItsValueIfAnAssignmentThrows) {
  Any sut = 1;
  const Throwing bad(-1);

  EXPECT_THROW(sut = bad, int);
  EXPECT_EQ(sut, 1);
  const Any holder = Throwing(5);
  EXPECT_EQ(ref_any_cast<Throwing>(holder).value, 5);
}

TEST(AnAny, EqualsOnlyAValueOfExactlyItsType) {
  const Any sut = 1;

  EXPECT_TRUE(sut == 1);
  EXPECT_FALSE(sut != 1);
  EXPECT_FALSE(sut == 2);
  EXPECT_FALSE(sut == 1L);
  EXPECT_FALSE(sut == 1u);
  EXPECT_FALSE(sut == true);
  EXPECT_FALSE(sut == 1.0);
  EXPECT_TRUE(sut != 1.0);
}

TEST(AnAny, NeverEqualsALiteral) {
  EXPECT_FALSE(Any(std::string("x")) == "x");
  EXPECT_FALSE(Any(static_cast<const char*>("x")) == "x");
}

TEST(AnAny, ComparesPointersToCharactersAsPointers) {
  const std::string text = "x";
  const std::string same = "x";

  EXPECT_TRUE(Any(text.c_str()) == Any(text.c_str()));
  EXPECT_FALSE(Any(text.c_str()) == Any(same.c_str()));
}

TEST(AnAny, EqualsAnotherOneWithAnEqualValueOfThatType) {
  EXPECT_TRUE(Any(1) == Any(1));
  EXPECT_FALSE(Any(1) == Any(2));
  EXPECT_TRUE(Any(1) != Any(1L));
  EXPECT_TRUE(Any(std::vector<Any>{Any(1)}) == Any(std::vector<Any>{Any(1)}));
  EXPECT_FALSE(Any(std::nan("")) == Any(std::nan("")));
}

TEST(AnAny, NeverEqualsAnythingIfItsTypeHasNoEquality) {
  Transfers transfers;
  const Any sut = Counted(transfers);
  const Any& same = sut;

  EXPECT_FALSE(sut == same);
  EXPECT_TRUE(sut != same);
  EXPECT_FALSE(sut == ref_any_cast<Counted>(sut));
}

TEST(AnAny, EqualsNothingWhenItIsEmpty) {
  const Any empty;

  EXPECT_FALSE(empty == 1);
  EXPECT_FALSE(empty == Any(1));
}

#ifdef SPF_RUNTIME_BUNDLED
TEST(AnAny, MayBeComparedWithAnEmptyOne) {
  const Any empty;

  EXPECT_FALSE(Any(1) == empty);
  EXPECT_TRUE(Any(1) != empty);
  EXPECT_FALSE(empty == Any());
  EXPECT_TRUE(empty != Any());
  EXPECT_FALSE(Any(std::vector<Any>{Any()}) == Any(std::vector<Any>{Any()}));
}
#endif

TEST(ACast, ReturnsACopyOfTheValue) {
  Any sut = std::string("text");
  any_cast<std::string>(sut) += "!";

  EXPECT_EQ(any_cast<std::string>(sut), "text");
}

TEST(ACast, ReturnsTheAddressOfTheValue) {
  Any sut = std::string("text");
  *any_cast<std::string>(&sut) += "!";
  const Any& constant = sut;

  EXPECT_EQ(*any_cast<std::string>(&constant), "text!");
}

TEST(ACast, ReturnsAReferenceToTheValue) {
  Any sut = std::string("text");
  ref_any_cast<std::string>(sut) += "!";
  const Any& constant = sut;

  EXPECT_EQ(ref_any_cast<std::string>(constant), "text!");
}

TEST(ACast, ReturnsNullForAnotherTypeAndForAnEmptyAny) {
  Any sut = 1;
  Any empty;

  EXPECT_EQ(any_cast<long>(&sut), nullptr);
  EXPECT_EQ(any_cast<int>(&empty), nullptr);
  EXPECT_EQ(any_cast<int>(static_cast<Any*>(nullptr)), nullptr);
  EXPECT_EQ(any_cast<int>(static_cast<const Any*>(nullptr)), nullptr);
}

TEST(ACast, ThrowsAnExceptionThatNamesBothTypes) {
  const auto start = std::string("cppmicroservices::BadAnyCastException: ");
  Any sut = 1;

  EXPECT_THAT([&] { any_cast<double>(sut); },
              testing::ThrowsMessage<BadAnyCastException>(
                  start + "any_cast: Failed to convert from cppmicroservices::Any type int to target type double"));
  EXPECT_THAT(
      [&] { any_cast<AnyMap>(Any()); },
      testing::ThrowsMessage<BadAnyCastException>(start + "any_cast: Failed to convert from cppmicroservices::Any type "
                                                          "void to target type cppmicroservices::AnyMap"));
  EXPECT_THAT([&] { ref_any_cast<double>(sut); },
              testing::ThrowsMessage<BadAnyCastException>(
                  start + "ref_any_cast: Failed to convert from cppmicroservices::Any type int to target type double"));
  EXPECT_THROW(any_cast<double>(sut), std::bad_cast);
}

}  // namespace
