#include "Hashes.hpp"

#include <dlfcn.h>

#include <functional>

namespace {

thread_local int hashes = 0;

using HashBytes = std::size_t (*)(const void*, std::size_t, std::size_t);

}  // namespace

// Comes before the standard library's own when the program is linked.
__attribute__((visibility("default"))) std::size_t std::_Hash_bytes(const void* bytes, std::size_t size,
                                                                    std::size_t seed) {
  static const auto original = reinterpret_cast<HashBytes>(dlsym(RTLD_NEXT, "_ZSt11_Hash_bytesPKvmm"));
  ++hashes;
  return original(bytes, size, seed);
}

namespace spf::test {

int hashesFromThisThread() {
  return hashes;
}

}  // namespace spf::test
