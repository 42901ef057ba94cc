#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>

#include "file/readConfiguration.hpp"

// Counts the comparisons of texts: the linker sends the executable's calls of memcmp here, and those of bcmp, which
// clang prefers where only equality counts.
namespace {
std::size_t comparisons = 0;
}

extern "C" int __real_memcmp(const void* left, const void* right, std::size_t size);
extern "C" [[gnu::visibility("default")]] int __wrap_memcmp(const void* left, const void* right, std::size_t size) {
  ++comparisons;
  return __real_memcmp(left, right, size);
}

extern "C" int __real_bcmp(const void* left, const void* right, std::size_t size);
extern "C" [[gnu::visibility("default")]] int __wrap_bcmp(const void* left, const void* right, std::size_t size) {
  ++comparisons;
  return __real_bcmp(left, right, size);
}

namespace spf::test {

using namespace spfctl;

std::size_t comparisonsFor(const std::string& text) {
  comparisons = 0;
  const auto checked = checkConfiguration({"f", text});
  EXPECT_EQ(checked.findings.errors(), 0u);
  return comparisons;
}

// 1,000 and 10,000 of something: ten times the comparisons, with some room for collisions of hashes and for the sorted
// index of the property tree. A search through all of them would give a hundred times.
template <class Make>
void expectLinear(Make make) {
  const auto few = comparisonsFor(make(1000));
  const auto many = comparisonsFor(make(10000));
  EXPECT_GT(many, 0u);
  EXPECT_LE(many, 16 * few + 1000) << few;
}

template <class Entry>
std::string list(int count, Entry entry) {
  std::string text;
  for (int index = 0; index < count; ++index) {
    text += (index == 0 ? "" : ", ") + entry(std::to_string(index));
  }
  return text;
}

TEST(Checking, IsLinearInTheKeysOfOneObject) {
  expectLinear([](int count) {
    return R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties": {)" +
           list(count, [](const std::string& index) { return "\"key" + index + "\": 1"; }) + "}}]}";
  });
}

TEST(Checking, IsLinearInTheKeysOfAnEndpoint) {
  expectLinear([](int count) {
    return R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": [{)" +
           list(count, [](const std::string& index) { return "\"key" + index + "\": 1"; }) + "}]}]}";
  });
}

TEST(Checking, IsLinearInInterfacesPublishersAndMappings) {
  expectLinear([](int count) {
    return R"({"serviceInterfaces": [)" +
           list(count,
                [](const std::string& index) { return R"({"uniqueID": "interface)" + index + R"(", "name": "n"})"; }) +
           R"(], "servicePublishers": [)" +
           list(count,
                [](const std::string& index) { return R"({"uniqueID": "publisher)" + index + R"(", "name": "n"})"; }) +
           R"(], "serviceMappings": [)" +
           list(count,
                [](const std::string& index) {
                  return R"({"serviceInterfaceID": "interface)" + index + R"(", "servicePublisherID": "publisher)" +
                         index + "\"}";
                }) +
           "]}";
  });
}

TEST(Checking, IsLinearInEndpoints) {
  expectLinear([](int count) {
    return R"({"servicePublishers": [{"uniqueID": "p", "name": "n", "endpointsToBindTo": [)" +
           list(count, [](const std::string& index) { return "\"inproc://endpoint" + index + "\""; }) + "]}]}";
  });
}

TEST(Checking, OfAHundredThousandKeysInOneObjectEnds) {
  const auto count =
      comparisonsFor(R"({"serviceInterfaces": [{"uniqueID": "i", "name": "n", "requestedProperties": {)" +
                     list(100000, [](const std::string& index) { return "\"key" + index + "\": 1"; }) + "}}]}");
  EXPECT_LT(count, 4000000u);
}

}  // namespace spf::test
