#include "bundles/BundleLifecycle.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#define US_BUNDLE_NAME system_bundle  // required by the header of the activator

#include "bundles/BundlePrivate.h"
#include "bundles/BundleRegistry.h"
#include "bundles/EventListeners.h"
#include "core/Attempt.h"
#include "core/BundleContextPrivate.h"
#include "core/ExceptionText.h"
#include "core/FrameworkProperties.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/SecurityException.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "services/ServiceRegistry.h"

namespace cppmicroservices {

namespace {

bool isRunning(Bundle::State state) {
  return state == Bundle::STATE_STARTING || state == Bundle::STATE_ACTIVE;
}

}  // namespace

BundleLifecycle::BundleLifecycle(const FrameworkProperties& properties, BundleRegistry& registry,
                                 ServiceRegistry& services, EventListeners& listeners)
    : properties_(properties), registry_(registry), services_(services), listeners_(listeners) {}

void BundleLifecycle::requireInstalled(const BundlePrivate& bundle) const {
  if (bundle.state == Bundle::STATE_UNINSTALLED) {
    throw std::logic_error(bundle.describe() + " is uninstalled");
  }
}

void BundleLifecycle::requireStartable(const BundlePrivate& bundle) const {
  requireInstalled(bundle);
  // The framework no longer knows a bundle that was installed before a restart.
  if (!isRunning(registry_.find(systemBundleId)->state) || registry_.find(bundle.id).get() != &bundle) {
    throw std::runtime_error(bundle.describe() + " belongs to a stopped framework");
  }
}

void BundleLifecycle::start(const BundlePointer& bundle) {
  if (bundle->state == Bundle::STATE_STARTING && operations_.isMine(*bundle)) {
    return;  // the activator starts its own bundle, which is being started already
  }
  const BundleOperations::Scope operation(operations_, *bundle, "started");
  requireStartable(*bundle);
  if (bundle->state == Bundle::STATE_ACTIVE) {
    return;
  }
  if (bundle->state == Bundle::STATE_INSTALLED) {
    bundle->state = Bundle::STATE_RESOLVED;
    listeners_.bundles.notifyAnyway(BundleEvent::BUNDLE_RESOLVED, bundle);
  }
  bundle->state = Bundle::STATE_STARTING;
  bundle->openContext();
  try {
    listeners_.bundles.notify(BundleEvent::BUNDLE_STARTING, bundle);
    if (hasActivator(bundle)) {
      validate(bundle);
      runActivator(bundle);
    }
  } catch (...) {
    undoStart(bundle);
    throw;
  }
  bundle->state = Bundle::STATE_ACTIVE;
  announceStarted(bundle);
}

void BundleLifecycle::announceStarted(const BundlePointer& bundle) {
  std::exception_ptr refusal;
  attempt(refusal, [&] { listeners_.bundles.notify(BundleEvent::BUNDLE_STARTED, bundle); });
  if (refusal && bundle->state == Bundle::STATE_ACTIVE) {
    attempt(refusal, [&] { stopActive(bundle); });
  }
  rethrowIfAny(refusal);
}

bool BundleLifecycle::hasActivator(const BundlePointer& bundle) {
  const auto found = bundle->headers.find(Constants::BUNDLE_ACTIVATOR);
  if (found == bundle->headers.end() || found->second.Empty()) {
    return false;
  }
  try {
    return any_cast<bool>(found->second);
  } catch (const BadAnyCastException& error) {
    report(FrameworkEvent::FRAMEWORK_WARNING, bundle,
           "The header " + Constants::BUNDLE_ACTIVATOR + " has to be true or false: " + error.what());
    return false;
  }
}

void BundleLifecycle::validate(const BundlePointer& bundle) {
  const auto& validation = properties_.validation();
  if (!validation) {
    return;
  }
  const auto handle = handleOf(bundle);
  bool accepted = false;
  try {
    accepted = validation(handle);
  } catch (...) {
    const auto reason = currentExceptionText();
    report(FrameworkEvent::FRAMEWORK_WARNING, bundle, "The bundle validation function threw an exception");
    throw SecurityException(reason, handle);
  }
  if (!accepted) {
    throw SecurityException(bundle->describe() + " failed bundle validation.", handle);
  }
}

void BundleLifecycle::runActivator(const BundlePointer& bundle) {
  try {
    auto code = std::make_shared<RunningCode>(
        RunningCode{BundleLibrary(*bundle, properties_.libraryLoadOptions()), {nullptr, nullptr}});
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      running_[bundle.get()] = code;
    }
    const auto context = bundle->context();
    code->library.setContext(context.get());
    code->activator = code->library.makeActivator();
    code->activator->Start(detail::HandleAccess::context(context));
  } catch (const SharedLibraryException&) {
    throw;
  } catch (const std::system_error& error) {
    // The library could not be loaded, or a system call of the activator failed.
    throw SharedLibraryException(error.code(), error.what(), handleOf(bundle));
  } catch (...) {
    throw std::runtime_error("Bundle " + bundle->symbolicName + " (location= " + bundle->location +
                             ") start failed: " + currentExceptionText());
  }
}

void BundleLifecycle::undoStart(const BundlePointer& bundle) {
  bundle->state = Bundle::STATE_STOPPING;
  listeners_.bundles.notifyAnyway(BundleEvent::BUNDLE_STOPPING, bundle);
  if (const auto code = codeOf(*bundle)) {
    code->activator.reset();
  }
  withdraw(bundle);
  bundle->state = Bundle::STATE_RESOLVED;
  listeners_.bundles.notifyAnyway(BundleEvent::BUNDLE_STOPPED, bundle);
}

void BundleLifecycle::stop(const BundlePointer& bundle) {
  if (bundle->state == Bundle::STATE_STOPPING && operations_.isMine(*bundle)) {
    return;  // the activator stops its own bundle, which is being stopped already
  }
  const BundleOperations::Scope operation(operations_, *bundle, "stopped");
  requireInstalled(*bundle);
  if (bundle->state == Bundle::STATE_ACTIVE) {
    stopActive(bundle);
  }
}

void BundleLifecycle::stopForGood(const BundlePointer& bundle) {
  const BundleOperations::Scope operation(operations_, *bundle, "stopped with its framework");
  std::exception_ptr failure;
  if (bundle->state == Bundle::STATE_ACTIVE) {
    attempt(failure, [&] { stopActive(bundle); });
  }
  if (bundle->state != Bundle::STATE_UNINSTALLED) {
    bundle->state = Bundle::STATE_INSTALLED;
  }
  rethrowIfAny(failure);
}

void BundleLifecycle::stopActive(const BundlePointer& bundle) {
  bundle->state = Bundle::STATE_STOPPING;
  std::exception_ptr failure;
  attempt(failure, [&] { listeners_.bundles.notify(BundleEvent::BUNDLE_STOPPING, bundle); });
  attempt(failure, [&] { stopActivator(bundle); });
  withdraw(bundle);
  bundle->state = Bundle::STATE_RESOLVED;
  attempt(failure, [&] { listeners_.bundles.notify(BundleEvent::BUNDLE_STOPPED, bundle); });
  rethrowIfAny(failure);
}

void BundleLifecycle::stopActivator(const BundlePointer& bundle) {
  const auto code = codeOf(*bundle);
  if (!code) {
    return;
  }
  const auto activator = std::exchange(code->activator, BundleLibrary::Activator(nullptr, nullptr));
  try {
    activator->Stop(detail::HandleAccess::context(bundle->context()));
  } catch (...) {
    throw std::runtime_error(bundle->describe() + ", BundleActivator::Stop() failed: " + currentExceptionText());
  }
}

void BundleLifecycle::withdraw(const BundlePointer& bundle) {
  const auto context = bundle->context();
  listeners_.removeAllOf(*context);
  services_.unregisterAllOf(*bundle);
  services_.releaseAllOf(*bundle);
  bundle->closeContext();
  // Again, for additions of other threads between the first removal and the end of the context.
  listeners_.removeAllOf(*context);
  services_.unregisterAllOf(*bundle);
  services_.releaseAllOf(*bundle);
  forgetCode(*bundle);
}

std::shared_ptr<BundleLifecycle::RunningCode> BundleLifecycle::codeOf(const BundlePrivate& bundle) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = running_.find(&bundle);
  return found == running_.end() ? nullptr : found->second;
}

void BundleLifecycle::forgetCode(const BundlePrivate& bundle) {
  if (const auto code = codeOf(bundle)) {
    code->library.setContext(nullptr);
    const std::lock_guard<std::mutex> lock(mutex_);
    running_.erase(&bundle);
  }
}

void BundleLifecycle::uninstall(const BundlePointer& bundle) {
  const BundleOperations::Scope operation(operations_, *bundle, "uninstalled");
  requireInstalled(*bundle);
  if (bundle->state == Bundle::STATE_ACTIVE) {
    try {
      stopActive(bundle);
    } catch (...) {
      report(FrameworkEvent::FRAMEWORK_ERROR, bundle, currentExceptionText());
    }
  }
  const bool wasInstalled = registry_.remove(*bundle);
  bundle->state = Bundle::STATE_INSTALLED;
  std::exception_ptr failure;
  attempt(failure, [&] { listeners_.bundles.notify(BundleEvent::BUNDLE_UNRESOLVED, bundle); });
  if (wasInstalled) {
    removeData(bundle);
  }
  bundle->touch();
  bundle->state = Bundle::STATE_UNINSTALLED;
  attempt(failure, [&] { listeners_.bundles.notify(BundleEvent::BUNDLE_UNINSTALLED, bundle); });
  rethrowIfAny(failure);
}

void BundleLifecycle::removeData(const BundlePointer& bundle) {
  std::error_code failure;
  std::filesystem::remove_all(registry_.dataFolder(*bundle), failure);
  if (failure) {
    listeners_.framework.report(FrameworkEvent::FRAMEWORK_WARNING, bundle,
                                "The bundle's data cannot be removed: " + failure.message());
  }
}

/// Sends a framework event about the bundle with the exception that is being handled.
void BundleLifecycle::report(FrameworkEvent::Type type, const BundlePointer& bundle, const std::string& message) {
  listeners_.framework.report(type, bundle, message, std::current_exception());
}

Bundle BundleLifecycle::handleOf(const BundlePointer& bundle) const {
  return listeners_.framework.handles().of(bundle);
}

}  // namespace cppmicroservices
