#include "core/ListenerList.h"

namespace cppmicroservices {

ListenerTokenId nextListenerId() {
  static std::atomic<ListenerTokenId> last{0};
  return ++last;
}

}  // namespace cppmicroservices
