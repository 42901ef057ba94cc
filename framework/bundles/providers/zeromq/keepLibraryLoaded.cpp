#include "keepLibraryLoaded.hpp"

#include <dlfcn.h>

namespace spf::zeromq {

void keepLibraryLoaded() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&keepLibraryLoaded), &info) != 0) {
    dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  }
}

}  // namespace spf::zeromq
