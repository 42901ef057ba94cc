#include <cppmicroservices/ServiceReferenceBase.h>

// Nothing else is included: what this file uses has to come with that header.
int countThroughServiceReferenceBase() {
  static std::mutex mutex;
  static std::atomic<int> count{0};
  const std::lock_guard<std::mutex> lock(mutex);
  return ++count;
}
