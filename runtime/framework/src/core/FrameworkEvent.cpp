#include "cppmicroservices/FrameworkEvent.h"

#include "core/ExceptionText.h"
#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

struct FrameworkEvent::Data {
  Type type;
  Bundle bundle;
  std::string message;
  std::exception_ptr exception;
};

FrameworkEvent::FrameworkEvent() = default;

FrameworkEvent::FrameworkEvent(Type type, const Bundle& bundle, const std::string& message,
                               const std::exception_ptr exception)
    : data_(std::make_shared<const Data>(Data{type, bundle, message, exception})) {}

FrameworkEvent::operator bool() const {
  return data_ != nullptr;
}

Bundle FrameworkEvent::GetBundle() const {
  return data_ ? data_->bundle : Bundle();
}

std::string FrameworkEvent::GetMessage() const {
  return data_ ? data_->message : std::string();
}

std::exception_ptr FrameworkEvent::GetThrowable() const {
  return data_ ? data_->exception : nullptr;
}

FrameworkEvent::Type FrameworkEvent::GetType() const {
  return data_ ? data_->type : FRAMEWORK_ERROR;
}

std::ostream& operator<<(std::ostream& out, FrameworkEvent::Type type) {
  switch (type) {
    case FrameworkEvent::FRAMEWORK_STARTED:
      return out << "STARTED";
    case FrameworkEvent::FRAMEWORK_ERROR:
      return out << "ERROR";
    case FrameworkEvent::FRAMEWORK_WARNING:
      return out << "WARNING";
    case FrameworkEvent::FRAMEWORK_INFO:
      return out << "INFO";
    case FrameworkEvent::FRAMEWORK_STOPPED:
      return out << "STOPPED";
    case FrameworkEvent::FRAMEWORK_STOPPED_UPDATE:
      return out << "STOPPED_UPDATE";
    case FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT:
      return out << "WAIT_TIMEDOUT";
  }
  return out << "unknown framework event type (" << static_cast<unsigned int>(type) << ")";
}

std::ostream& operator<<(std::ostream& out, const FrameworkEvent& event) {
  if (!event) {
    return out << "NONE";
  }
  out << event.GetType();
  if (!event.GetMessage().empty()) {
    out << " " << event.GetMessage();
  }
  out << " from " << event.GetBundle();
  if (event.GetThrowable()) {
    try {
      std::rethrow_exception(event.GetThrowable());
    } catch (...) {
      out << ": " << currentExceptionText();
    }
  }
  return out;
}

bool operator==(const FrameworkEvent& left, const FrameworkEvent& right) {
  return static_cast<bool>(left) == static_cast<bool>(right) && left.GetType() == right.GetType() &&
         left.GetBundle() == right.GetBundle() && left.GetMessage() == right.GetMessage() &&
         left.GetThrowable() == right.GetThrowable();
}

}  // namespace cppmicroservices
