#pragma once

#include <exception>

namespace cppmicroservices {

/// Runs one of several steps that have to run even if others fail.
/// \param failure  receives the step's exception, unless it holds that of an earlier step
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
