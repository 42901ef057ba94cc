#include <cppmicroservices/ServiceReferenceBase.h>

// Nothing else is included: that header has to include all that this file uses.
int countThroughServiceReferenceBase() {
  static std::mutex mutex;
  static std::atomic<int> count{0};
  const std::lock_guard<std::mutex> lock(mutex);
  return ++count;
}
