#include "tracking/endpointEquality.hpp"

#include "support/TestFramework.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

using agent::spf::frameworksetup::holdsEmptyValue;

// Not seen from outside on a runtime that compares empty values without harm.
TEST(AnEndpoint, HoldsAnEmptyValueIfItIsOneOrHasOneInItsListsOrMapsAtAnyDepth) {
  const Any nothing;
  EXPECT_TRUE(holdsEmptyValue(nothing));
  EXPECT_TRUE(holdsEmptyValue(List{text("a"), nothing}));
  EXPECT_TRUE(holdsEmptyValue(AnyMap{{"a", text("a")}, {"b", nothing}}));
  EXPECT_TRUE(holdsEmptyValue(List{AnyMap{{"a", List{List{nothing}}}}}));
}

TEST(AnEndpoint, HoldsNoEmptyValueIfEverythingInItIsThere) {
  EXPECT_FALSE(holdsEmptyValue(text("")));
  EXPECT_FALSE(holdsEmptyValue(0));
  EXPECT_FALSE(holdsEmptyValue(List{}));
  EXPECT_FALSE(holdsEmptyValue(AnyMap{}));
  EXPECT_FALSE(holdsEmptyValue(AnyMap{{"a", List{AnyMap{{"b", text("b")}}}}}));
  EXPECT_FALSE(holdsEmptyValue(IncomparableEndpoint{}));
}

}  // namespace spf::test
