#include <cppmicroservices/LDAPFilter.h>
#include <cppmicroservices/LDAPProp.h>
#include <gmock/gmock.h>

#include <stdexcept>
#include <string>

namespace {

using cppmicroservices::Any;
using cppmicroservices::LDAPFilter;
using cppmicroservices::LDAPProp;
using cppmicroservices::LDAPPropExpr;

std::string textOf(const LDAPPropExpr& expression) {
  return expression;
}

class AProperty : public testing::Test {
 protected:
  const LDAPProp sut{"k"};
};

TEST_F(AProperty, NeedsAName) {
  EXPECT_THAT([] { LDAPProp(""); }, testing::ThrowsMessage<std::invalid_argument>("property must not be empty"));
}

TEST_F(AProperty, MakesComparisonsWithValues) {
  EXPECT_EQ(textOf(sut == 5), "(k=5)");
  EXPECT_EQ(textOf(sut == 1.23456789), "(k=1.23457)");
  EXPECT_EQ(textOf(sut == true), "(k=true)");
  EXPECT_EQ(textOf(sut == "x"), "(k=x)");
  EXPECT_EQ(textOf(sut == std::string("x")), "(k=x)");
  EXPECT_EQ(textOf(sut != 5), "(!(k=5))");
  EXPECT_EQ(textOf(sut != "x"), "(!(k=x))");
  EXPECT_EQ(textOf(sut != true), "(!(k=1))");
  EXPECT_EQ(textOf(sut >= 5), "(k>=5)");
  EXPECT_EQ(textOf(sut >= "x"), "(k>=x)");
  EXPECT_EQ(textOf(sut <= 5), "(k<=5)");
  EXPECT_EQ(textOf(sut <= std::string("x")), "(k<=x)");
  EXPECT_EQ(textOf(sut.Approx("x")), "(k~=x)");
  EXPECT_EQ(textOf(sut.Approx(5)), "(k~=5)");
}

TEST_F(AProperty, MakesComparisonsWithTheTextOfAnAny) {
  EXPECT_EQ(textOf(sut == Any(true)), "(k=1)");
  EXPECT_EQ(textOf(sut == Any(1.23456789)), "(k=1.23456789)");
  EXPECT_EQ(textOf(sut != Any(1)), "(!(k=1))");
  EXPECT_EQ(textOf(sut >= Any(1)), "(k>=1)");
  EXPECT_EQ(textOf(sut <= Any(1)), "(k<=1)");
  EXPECT_EQ(textOf(sut.Approx(Any(1))), "(k~=1)");
  EXPECT_THROW(static_cast<void>(sut == Any()), std::logic_error);
  EXPECT_THROW(static_cast<void>(sut != Any()), std::logic_error);
}

TEST_F(AProperty, LeavesValuesUnchanged) {
  EXPECT_EQ(textOf(sut == std::string("a*(b)")), "(k=a*(b))");
}

TEST_F(AProperty, MakesPresenceAndAbsence) {
  EXPECT_EQ(textOf(sut), "(k=*)");
  EXPECT_EQ(textOf(!sut), "(!(k=*))");
}

TEST_F(AProperty, MakesANullExpressionOfAnEmptyString) {
  const std::string empty;

  EXPECT_TRUE((sut == empty).IsNull());
  EXPECT_TRUE((sut != empty).IsNull());
  EXPECT_TRUE((sut >= empty).IsNull());
  EXPECT_TRUE((sut <= empty).IsNull());
  EXPECT_TRUE(sut.Approx(empty).IsNull());
  EXPECT_TRUE((sut == Any(empty)).IsNull());
  EXPECT_TRUE((sut != "").IsNull());
  EXPECT_EQ(textOf(sut == ""), "(k=)");
}

class AnExpression : public testing::Test {
 protected:
  const LDAPPropExpr a{"(a=1)"};
  const LDAPPropExpr b{"(b=2)"};
  const LDAPPropExpr null{};
};

TEST_F(AnExpression, IsNullAtFirst) {
  EXPECT_TRUE(null.IsNull());
  EXPECT_EQ(textOf(null), "");
  EXPECT_FALSE(a.IsNull());
}

TEST_F(AnExpression, IsCombinedInPairs) {
  EXPECT_EQ(textOf(a && b), "(&(a=1)(b=2))");
  EXPECT_EQ(textOf(a || b), "(|(a=1)(b=2))");
  EXPECT_EQ(textOf(a && b && a), "(&(&(a=1)(b=2))(a=1))");
  EXPECT_EQ(textOf(::operator||(::operator&&(a, b), a)), "(|(&(a=1)(b=2))(a=1))");
}

TEST_F(AnExpression, IsLeftOutIfItIsNull) {
  EXPECT_EQ(textOf(a && null), "(a=1)");
  EXPECT_EQ(textOf(null && a), "(a=1)");
  EXPECT_EQ(textOf(a || null), "(a=1)");
  EXPECT_EQ(textOf(null || a), "(a=1)");
  EXPECT_TRUE((null || null).IsNull());
}

TEST_F(AnExpression, MayBeExtendedInPlace) {
  LDAPPropExpr sut;
  sut &= a;
  EXPECT_EQ(textOf(sut), "(a=1)");
  sut &= b;
  EXPECT_EQ(textOf(sut), "(&(a=1)(b=2))");
  sut |= null;
  EXPECT_EQ(textOf(sut), "(&(a=1)(b=2))");
  sut |= a;
  EXPECT_EQ(textOf(sut), "(|(&(a=1)(b=2))(a=1))");
}

TEST_F(AnExpression, MayBeNegatedInPlace) {
  LDAPPropExpr sut = a;
  !sut;
  EXPECT_EQ(textOf(sut), "(!(a=1))");
  LDAPPropExpr nothing;
  EXPECT_TRUE((!nothing).IsNull());
}

TEST_F(AnExpression, MakesAFilter) {
  EXPECT_EQ(LDAPFilter(LDAPProp("k") == 5 && !LDAPProp("l")).ToString(), "(&(k=5)(!(l=*)))");
}

}  // namespace
