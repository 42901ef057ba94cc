#include "HandshakeLedger.hpp"

namespace spf::zeromq {

void HandshakeLedger::reported() {
  doubtful_.merge(undecided_);
  undecided_.clear();
  ++reports_;
  forgetIfExplained();
}

bool HandshakeLedger::ended(Connection connection) {
  if (undecided_.erase(connection) != 0) {
    return true;
  }
  if (doubtful_.erase(connection) == 0) {
    return false;
  }
  if (reports_ == 0) {
    return true;
  }
  --reports_;
  forgetIfExplained();
  return false;
}

void HandshakeLedger::forgetIfExplained() {
  if (reports_ >= doubtful_.size()) {
    doubtful_.clear();
    reports_ = 0;
  }
}

}  // namespace spf::zeromq
