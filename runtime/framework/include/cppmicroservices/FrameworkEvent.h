#pragma once

#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class Bundle;

/// A change of a framework's state, or an error that cannot be propagated to a caller. Copies are cheap, and an event
/// may be kept. A default constructed event converts to false.
class US_Framework_EXPORT FrameworkEvent {
 public:
  enum Type : uint32_t {
    FRAMEWORK_STARTED = 0x00000001,
    FRAMEWORK_ERROR = 0x00000002,
    FRAMEWORK_WARNING = 0x00000010,
    FRAMEWORK_INFO = 0x00000020,
    FRAMEWORK_STOPPED = 0x00000040,
    FRAMEWORK_STOPPED_UPDATE = 0x00000080,
    FRAMEWORK_WAIT_TIMEDOUT = 0x00000200
  };

  FrameworkEvent();
  FrameworkEvent(Type type, const Bundle& bundle, const std::string& message,
                 const std::exception_ptr exception = nullptr);

  explicit operator bool() const;

  /// Returns the bundle that the event concerns; an invalid one for a default constructed event.
  Bundle GetBundle() const;
  std::string GetMessage() const;
  /// Returns the exception that caused the event, or null.
  std::exception_ptr GetThrowable() const;
  /// Returns the type; FRAMEWORK_ERROR for a default constructed event.
  Type GetType() const;

 private:
  struct Data;
  std::shared_ptr<const Data> data_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, FrameworkEvent::Type type);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const FrameworkEvent& event);
US_Framework_EXPORT bool operator==(const FrameworkEvent& left, const FrameworkEvent& right);

}  // namespace cppmicroservices
