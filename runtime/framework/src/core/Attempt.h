#pragma once

#include <exception>

namespace cppmicroservices {

/// Runs one of several steps that have to be taken whatever becomes of the others.
/// \param failure  takes what the step throws, unless an earlier one threw
template <class Step>
void attempt(std::exception_ptr& failure, Step step) {
  try {
    step();
  } catch (...) {
    failure = failure ? failure : std::current_exception();
  }
}

inline void rethrowIfAny(const std::exception_ptr& failure) {
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace cppmicroservices
