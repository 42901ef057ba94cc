#include "agent/spf/security/SecretKey.hpp"

#include <algorithm>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>
#include "Keys.hpp"
#include "WrappedCalls.hpp"

namespace spf::test {

using namespace agent::spf::security;

static_assert(!std::is_copy_constructible_v<SecretKey> && !std::is_copy_assignable_v<SecretKey>);
static_assert(std::is_nothrow_move_constructible_v<SecretKey> && std::is_nothrow_move_assignable_v<SecretKey>);

template <class Value, class = void>
constexpr bool isPrintable = false;
template <class Value>
constexpr bool isPrintable<Value, std::void_t<decltype(std::declval<std::ostream&>() << std::declval<Value>())>> = true;

static_assert(isPrintable<std::string> && !isPrintable<SecretKey>);

TEST(ASecretKey, IsAnotherOneEachTime) {
  const auto first = SecretKey::generate();
  const auto second = SecretKey::generate();
  EXPECT_NE(first.bytes(), second.bytes());
  EXPECT_NE(first.publicKey(), second.publicKey());
}

TEST(ASecretKey, DeterminesItsPublicKey) {
  const auto made = SecretKey::generate();
  const SecretKey sut(made.bytes());
  EXPECT_EQ(sut.bytes(), made.bytes());
  EXPECT_EQ(sut.publicKey(), made.publicKey());
}

// One key in 85 would begin so.
TEST(ASecretKey, DoesNotLookLikeACommentInAFile) {
  for (int count = 0; count < 500; ++count) {
    const auto sut = SecretKey::generate();
    ASSERT_NE(secretText(sut).front(), '#');
    ASSERT_NE(sut.publicKey().text().front(), '#');
  }
}

TEST(ASecretKey, IsWipedWhereItStoodAtItsEnd) {
  const void* place = nullptr;
  std::string content;
  {
    auto first = SecretKey::generate();
    place = first.bytes().data();
    content.assign(first.bytes().begin(), first.bytes().end());
    const auto sut = std::move(first);
    EXPECT_EQ(sut.bytes().data(), place) << "a copy was made";
    takeWiped();
  }
  const auto wiped = takeWiped();
  ASSERT_EQ(wiped.size(), 1u);
  EXPECT_EQ(wiped[0].place, place);
  EXPECT_EQ(wiped[0].content, content);
}

TEST(ASecretKey, IsWipedWhenAnotherOneTakesItsPlace) {
  auto sut = SecretKey::generate();
  const std::string content(sut.bytes().begin(), sut.bytes().end());
  auto other = SecretKey::generate();
  takeWiped();
  sut = std::move(other);
  const auto wiped = takeWiped();
  ASSERT_EQ(wiped.size(), 1u);
  EXPECT_EQ(wiped[0].content, content);
}

TEST(ASecretKey, LeavesNoCopyOfItsTextWhereItWasMade) {
  takeWiped();
  const auto sut = SecretKey::generate();
  const auto secret = secretText(sut);
  const auto wiped = takeWiped();
  EXPECT_TRUE(std::any_of(wiped.begin(), wiped.end(),
                          [&](const WipedMemory& memory) { return memory.content.substr(0, 40) == secret; }));
}

}  // namespace spf::test
