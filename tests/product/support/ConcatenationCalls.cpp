#include "ConcatenationCalls.hpp"

#include <dlfcn.h>

#include "agent/host/filesystem.hpp"

namespace spf::test {

namespace {

thread_local ConcatenationCalls* current = nullptr;

}  // namespace

ConcatenationCalls::ConcatenationCalls() {
  current = this;
}

ConcatenationCalls::~ConcatenationCalls() {
  current = nullptr;
}

}  // namespace spf::test

// Comes before the host library's own when the program is linked.
void agent::host::filesystem::concatenate_pathname(std::wstring& pathname, const std::wstring& component, bool flag) {
  using Function = void(std::wstring&, const std::wstring&, bool);
  static const auto original = reinterpret_cast<Function*>(dlsym(
      RTLD_NEXT,
      "_ZN5agent4host10filesystem20concatenate_pathnameERNSt7__cxx1112basic_stringIwSt11char_traitsIwESaIwEEERKS7_b"));
  if (spf::test::current != nullptr) {
    spf::test::current->note(component, flag);
  }
  original(pathname, component, flag);
}
