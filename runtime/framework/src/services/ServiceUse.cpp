#include "services/ServiceUse.h"

#include <exception>
#include <stdexcept>
#include <utility>

#include "core/ExceptionText.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/SecurityException.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

namespace {

/// The deleter with which a bundle's pointer shares the use. It releases the use together with the last pointer, even
/// if a weak pointer keeps the control block.
struct Hold {
  std::shared_ptr<ServiceUse> use;
  std::shared_ptr<ServiceRecord> record;

  void operator()(const void*) noexcept {
    use.reset();
    record.reset();
  }
};

}  // namespace

ServiceUse::ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user, InterfaceMapConstPtr object)
    : record_(std::move(record)), user_(std::move(user)), progress_(Progress::ready), object_(std::move(object)) {}

ServiceUse::ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user,
                       std::shared_ptr<ServiceFactory> factory)
    : record_(std::move(record)),
      user_(std::move(user)),
      factory_(std::move(factory)),
      maker_(std::this_thread::get_id()),
      progress_(Progress::making) {}

ServiceUse::~ServiceUse() {
  record_->forgetEndedUses();
  close();
}

bool ServiceUse::make() {
  InterfaceMapConstPtr made;
  try {
    made = factory_->GetService(user_.handle(), detail::HandleAccess::registration(record_->forRegistration()));
  } catch (const SharedLibraryException& error) {
    reportAndRethrow(error.GetBundle());
  } catch (const SecurityException& error) {
    reportAndRethrow(error.GetBundle());
  } catch (...) {
    reportFactoryException();
    return finish(nullptr);
  }
  return finish(isComplete(made) ? made : nullptr);
}

/// Reports an exception about a bundle that the factory could not load, and propagates it to the user of the service.
void ServiceUse::reportAndRethrow(const Bundle& bundle) {
  finish(nullptr);
  if (const auto listeners = user_.framework.lock()) {
    listeners->report(FrameworkEvent::FRAMEWORK_ERROR, detail::HandleAccess::stateOf(bundle),
                      "The service factory could not load a bundle", std::current_exception());
  }
  throw;
}

bool ServiceUse::isComplete(const InterfaceMapConstPtr& made) {
  if (!made || made->empty()) {
    const std::string message = "The service factory returned no service object";
    report(FrameworkEvent::FRAMEWORK_ERROR, message, ServiceException(message, ServiceException::FACTORY_ERROR));
    return false;
  }
  for (const auto& name : record_->classes) {
    if (name != detail::factoryInterfaceId() && !ExtractInterface(made, name)) {
      const auto message = "The service factory returned an object that does not implement " + name;
      report(FrameworkEvent::FRAMEWORK_WARNING, message, std::logic_error(message));
      return false;
    }
  }
  return true;
}

/// Reports the exception that is being handled.
void ServiceUse::reportFactoryException() {
  const auto reason = currentExceptionText();
  report(FrameworkEvent::FRAMEWORK_ERROR, "The service factory threw an exception: " + reason,
         ServiceException(reason, ServiceException::FACTORY_EXCEPTION));
}

template <class Exception>
void ServiceUse::report(FrameworkEvent::Type type, const std::string& message, const Exception& exception) {
  user_.report(type, message, std::make_exception_ptr(exception));
}

bool ServiceUse::finish(InterfaceMapConstPtr made) {
  bool tooLate = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tooLate = closed_;
    progress_ = made && !tooLate ? Progress::ready : Progress::failed;
    object_ = tooLate ? nullptr : made;
  }
  made_.notify_all();
  if (made && tooLate) {
    returnToFactory(made);
  }
  return made && !tooLate;
}

bool ServiceUse::awaitObject() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (progress_ == Progress::making && maker_ == std::this_thread::get_id()) {
    lock.unlock();
    const std::string message = "The service factory asked for the service that it is just making";
    report(FrameworkEvent::FRAMEWORK_ERROR, message, ServiceException(message, ServiceException::FACTORY_RECURSION));
    return false;
  }
  made_.wait(lock, [this] { return progress_ != Progress::making; });
  return progress_ == Progress::ready;
}

void ServiceUse::close() noexcept {
  if (!factory_) {
    return;  // nothing is to be returned
  }
  InterfaceMapConstPtr object;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::exchange(closed_, true)) {
      return;
    }
    object = object_;
  }
  if (object) {
    returnToFactory(object);
  }
}

void ServiceUse::returnToFactory(const InterfaceMapConstPtr& object) noexcept {
  try {
    factory_->UngetService(user_.handle(), detail::HandleAccess::registration(record_->forRegistration()), object);
  } catch (...) {
    reportFactoryException();
  }
}

std::shared_ptr<void> ServiceUse::object(std::shared_ptr<ServiceUse> use, const std::string* interfaceId) {
  if (!use) {
    return nullptr;
  }
  const auto object = interfaceId ? ExtractInterface(use->object_, *interfaceId) : ExtractInterface(use->object_, {});
  if (!object) {
    return nullptr;
  }
  auto record = use->record_;
  return std::shared_ptr<void>(object.get(), Hold{std::move(use), std::move(record)});
}

InterfaceMapConstPtr ServiceUse::interfaces(std::shared_ptr<ServiceUse> use) {
  if (!use) {
    return nullptr;
  }
  const auto* const map = use->object_.get();
  auto record = use->record_;
  return InterfaceMapConstPtr(map, Hold{std::move(use), std::move(record)});
}

std::shared_ptr<ServiceRecord> ServiceUse::serviceOf(const std::shared_ptr<void>& object) {
  const auto* const hold = std::get_deleter<Hold>(object);
  return hold ? hold->record : nullptr;
}

}  // namespace cppmicroservices
