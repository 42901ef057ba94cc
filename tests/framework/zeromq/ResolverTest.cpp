#include "Resolver.hpp"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include <gmock/gmock.h>
#include "spf/test/Gate.hpp"

namespace {

using spf::test::Counter;
using spf::test::Gate;
using spf::zeromq::ResolvedHost;
using spf::zeromq::Resolver;
using testing::IsEmpty;
using testing::SizeIs;

// How many allocations of this thread succeed before one fails; negative: all succeed.
thread_local int allocationsLeft = -1;

}  // namespace

void* operator new(std::size_t size) {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) {
    throw std::bad_alloc();
  }
  if (void* memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

/// The outcome that a handler has received.
struct Outcome {
  Gate isThere;
  ResolvedHost resolved;
};

class AResolver : public testing::Test {
 protected:
  static Resolver::Handler handlerOf(const std::shared_ptr<Outcome>& outcome) {
    return [outcome](const ResolvedHost& resolved) {
      outcome->resolved = resolved;
      outcome->isThere.open();
    };
  }

  void expectAnswer(const std::string& host) {
    const auto outcome = std::make_shared<Outcome>();
    sut.lookUp(host, handlerOf(outcome));
    ASSERT_TRUE(outcome->isThere.wait()) << host;
    EXPECT_THAT(outcome->resolved.addresses, SizeIs(1));
  }

  Resolver sut;
};

TEST_F(AResolver, CallsAThrowingHandlerAgainWithAFailure) {
  const auto calls = std::make_shared<Counter>();
  const auto outcome = std::make_shared<Outcome>();
  sut.lookUp("127.0.0.1", [calls, outcome](const ResolvedHost& resolved) {
    calls->add();
    if (!resolved.addresses.empty()) {
      throw std::bad_alloc();
    }
    outcome->resolved = resolved;
    outcome->isThere.open();
  });
  ASSERT_TRUE(outcome->isThere.wait());
  EXPECT_EQ(calls->count(), 2);
  EXPECT_EQ(outcome->resolved.failure, "out of memory");
  expectAnswer("127.0.0.1");
}

TEST_F(AResolver, SurvivesAHandlerThatThrowsAgain) {
  const auto calls = std::make_shared<Counter>();
  sut.lookUp("127.0.0.1", [calls](const ResolvedHost&) {
    calls->add();
    throw 42;
  });
  EXPECT_TRUE(calls->waitFor(2));
  expectAnswer("127.0.0.1");
}

TEST_F(AResolver, FailsALookUpWithoutMemoryForItsResult) {
  const auto mayGoOn = std::make_shared<Gate>();
  sut.lookUp("127.0.0.1", [mayGoOn](const ResolvedHost&) {
    allocationsLeft = 0;  // the same thread performs the next look-up
    mayGoOn->open();
  });
  ASSERT_TRUE(mayGoOn->wait());
  const auto outcome = std::make_shared<Outcome>();
  sut.lookUp("127.0.0.2", handlerOf(outcome));
  ASSERT_TRUE(outcome->isThere.wait());
  EXPECT_THAT(outcome->resolved.addresses, IsEmpty());
  EXPECT_EQ(outcome->resolved.failure, "out of memory");
  expectAnswer("127.0.0.2");
}

TEST_F(AResolver, IsUnchangedIfARequestFindsNoMemory) {
  for (int allocations = 0;; ++allocations) {
    // Long enough to be stored on the heap.
    const std::string host = "127.000.000.0000000" + std::to_string(allocations % 7 + 1);
    auto handler = handlerOf(std::make_shared<Outcome>());
    bool hasFailed = false;
    allocationsLeft = allocations;
    try {
      sut.lookUp(host, std::move(handler));
    } catch (const std::bad_alloc&) {
      hasFailed = true;
    }
    allocationsLeft = -1;
    expectAnswer(host);
    ASSERT_FALSE(HasFailure());
    if (!hasFailed) {
      EXPECT_GT(allocations, 0);
      return;
    }
  }
}

}  // namespace
