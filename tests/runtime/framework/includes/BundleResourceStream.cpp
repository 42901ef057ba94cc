#include <cppmicroservices/BundleResourceStream.h>

// Nothing else is included: what this file uses has to come with that header.
bool opensFileThroughBundleResourceStream(const char* name) {
  return std::ifstream(name).is_open();
}
