#include "tracking/EndpointEquality.hpp"

#include "support/TestFramework.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

using agent::spf::frameworksetup::EndpointEquality;

// An endpoint that shows whether it was compared: that crashes on some runtimes if one side is empty.
struct Compared {
  bool* compared;
};

bool operator==(const Compared& left, const Compared&) {
  *left.compared = true;
  return true;
}

std::ostream& operator<<(std::ostream& stream, const Compared&) {
  return stream << "compared";
}

class EndpointsThatAre : public testing::Test {
 protected:
  static bool areEqual(const Any& left, const Any& right) { return EndpointEquality(left)(right); }

  // Whether the values are compared that these lists begin with.
  bool areCompared(List left, List right) {
    compared_ = false;
    left.insert(left.begin(), Any(Compared{&compared_}));
    right.insert(right.begin(), Any(Compared{&compared_}));
    EXPECT_EQ(areEqual(Any(left), Any(right)), compared_);
    return compared_;
  }

 private:
  bool compared_ = false;
};

TEST_F(EndpointsThatAre, EmptyOrHoldAnEmptyValueAtAnyDepthAreNeitherEqualNorCompared) {
  const Any nothing;
  EXPECT_FALSE(areEqual(nothing, nothing));
  for (const List& empty :
       {List{nothing}, List{List{text("a"), nothing}}, List{AnyMap{{"a", text("a")}, {"b", nothing}}},
        List{List{AnyMap{{"a", List{List{nothing}}}}}}}) {
    EXPECT_FALSE(areCompared(empty, empty));
    EXPECT_FALSE(areCompared(empty, {}));
    EXPECT_FALSE(areCompared({}, empty));
  }
}

TEST_F(EndpointsThatAre, CompleteAreCompared) {
  for (const List& complete : {List{}, List{text("")}, List{Any(0)}, List{List{}}, List{AnyMap{}}}) {
    EXPECT_TRUE(areCompared(complete, complete));
  }
  EXPECT_TRUE(areEqual(text("a"), text("a")));
  EXPECT_FALSE(areEqual(text("a"), text("b")));
  const Any nested(AnyMap{{"a", List{AnyMap{{"b", text("b")}}}}});
  EXPECT_FALSE(areEqual(nested, text("a")));
}

TEST_F(EndpointsThatAre, OfATypeWithoutComparisonAreNotEqual) {
  EXPECT_FALSE(areEqual(IncomparableEndpoint{}, IncomparableEndpoint{}));
}

}  // namespace spf::test
