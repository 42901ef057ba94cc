#pragma once

#include <array>
#include <cstring>
#include <functional>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class BundleEvent;
class FrameworkEvent;
class ServiceEvent;

using ServiceListener = std::function<void(const ServiceEvent&)>;
using BundleListener = std::function<void(const BundleEvent&)>;
using FrameworkListener = std::function<void(const FrameworkEvent&)>;

namespace detail {

/// A listener that is a method of an object. Unlike other callable objects it can be compared, and so be removed.
template <class Event>
class ListenerMethod {
 public:
  template <class R>
  ListenerMethod(R* receiver, void (R::*method)(const Event&)) : receiver_(receiver), call_(&call<R>) {
    static_assert(sizeof method == sizeof method_, "pointers to methods are two words long");
    std::memcpy(method_.data(), &method, sizeof method);
  }

  void operator()(const Event& event) const { call_(*this, event); }

  /// Returns whether both are the same method of the same object.
  bool operator==(const ListenerMethod& other) const {
    return receiver_ == other.receiver_ && method_ == other.method_;
  }

 private:
  template <class R>
  static void call(const ListenerMethod& self, const Event& event) {
    void (R::*method)(const Event&) = nullptr;
    std::memcpy(&method, self.method_.data(), sizeof method);
    (static_cast<R*>(self.receiver_)->*method)(event);
  }

  void* receiver_;
  std::array<unsigned char, 2 * sizeof(void*)> method_{};
  void (*call_)(const ListenerMethod&, const Event&);
};

}  // namespace detail

template <class R>
US_DEPRECATED ServiceListener ServiceListenerMemberFunctor(R* receiver, void (R::*callback)(const ServiceEvent&)) {
  return detail::ListenerMethod<ServiceEvent>(receiver, callback);
}

template <class R>
US_DEPRECATED BundleListener BundleListenerMemberFunctor(R* receiver, void (R::*callback)(const BundleEvent&)) {
  return detail::ListenerMethod<BundleEvent>(receiver, callback);
}

template <class R>
US_DEPRECATED FrameworkListener BindFrameworkListenerToFunctor(R* receiver,
                                                               void (R::*callback)(const FrameworkEvent&)) {
  return detail::ListenerMethod<FrameworkEvent>(receiver, callback);
}

}  // namespace cppmicroservices
