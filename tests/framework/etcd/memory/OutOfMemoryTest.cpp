#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <new>
#include <string>

#include <gtest/gtest.h>
#include "etcd/fake/FakeMember.hpp"
#include "etcd/support/ObservedRegistry.hpp"

// In the place of the standard library's: one allocation of one thread fails.
namespace {

thread_local bool isVictim = false;
std::atomic<int> allocationsLeft{-1};  // until the one that fails; negative if none does

void* allocate(std::size_t size) {
  if (isVictim && allocationsLeft >= 0 && allocationsLeft-- == 0) {
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* const memory = allocate(size)) {
    return memory;
  }
  throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return allocate(size);
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace etcdtest {

using agent::spf::etcd::Settings;
using Reply = FakeMember::Reply;

constexpr auto empty = R"({"header":{"revision":"1"}})";
constexpr auto withC = R"({"header":{"revision":"3"},"kvs":[{"key":"L3NwZi9jLzE=","value":"eA=="}]})";
constexpr auto putC = "{\"result\":{\"events\":[{\"kv\":{\"key\":\"L3NwZi9jLzE=\",\"value\":\"eA==\"}}]}}\n";

class LackOfMemory : public testing::Test {
 protected:
  ~LackOfMemory() override { allocationsLeft = -1; }

  // Lets an allocation fail while a key is put and another one is reported. Returns whether it did.
  static bool failAt(int allocation) {
    FakeMember member;
    member.on("/v3/kv/range", Reply{200, empty});
    Settings settings;
    settings.members = {member.url()};
    settings.ttl = std::chrono::seconds(1);
    ObservedRegistry sut(settings, [] { isVictim = true; });
    EXPECT_TRUE(sut.waitUntilCurrent());
    member.on("/v3/kv/range", Reply{200, withC});
    allocationsLeft = allocation;
    sut->put("a/1", "x");
    member.stream(putC);
    EXPECT_TRUE(member.waitFor("/v3/kv/txn", 1));
    EXPECT_TRUE(sut.waitForKey("c/1", "x"));
    EXPECT_TRUE(sut.waitUntilCurrent());
    sut->put("b/1", "x");
    EXPECT_TRUE(member.waitFor("/v3/kv/txn", 2));
    return allocationsLeft.exchange(-1) < 0;
  }
};

TEST_F(LackOfMemory, AtAnyAllocationOfItsThreadLeavesARegistryAlive) {
  int allocation = 0;
  while (failAt(allocation) && !HasFailure()) {
    ++allocation;
  }
  EXPECT_FALSE(HasFailure()) << "at allocation " << allocation;
  EXPECT_GT(allocation, 20) << "too few allocations to prove anything";
  std::cout << allocation << " allocations have failed, one at a time" << std::endl;
}

}  // namespace etcdtest
