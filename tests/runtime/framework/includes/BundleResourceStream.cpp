#include <cppmicroservices/BundleResourceStream.h>

// Nothing else is included: that header has to include all that this file uses.
bool opensFileThroughBundleResourceStream(const char* name) {
  return std::ifstream(name).is_open();
}
