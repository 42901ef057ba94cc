#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "cppmicroservices/FrameworkEvent.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceFactory.h"
#include "cppmicroservices/ServiceInterface.h"
#include "services/ServiceClient.h"

namespace cppmicroservices {

class ServiceRecord;

/// One bundle's use of one service. The bundle's pointers to the service share it; it ends with the last of them. If
/// the service has a factory, the factory makes the object for the use, and gets it back when the use is closed or
/// ends, whichever is first. Any thread may use it.
class ServiceUse {
 public:
  /// Begins a use of an existing object.
  ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user, InterfaceMapConstPtr object);
  /// Begins a use whose object the factory has yet to make: the calling thread has to call make().
  ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user, std::shared_ptr<ServiceFactory> factory);
  ServiceUse(const ServiceUse&) = delete;
  ServiceUse& operator=(const ServiceUse&) = delete;
  ~ServiceUse();

  /// Calls the factory. To be called once, without locks, by the thread that began the use.
  /// \return false if the factory failed, which was reported
  /// \throws SharedLibraryException and SecurityException if the factory threw that, which was reported as well
  bool make();

  /// Blocks until there is an object.
  /// \return false if the factory failed, or the calling thread is in the factory, which is reported
  bool awaitObject();

  /// Returns the object to the factory, unless that has happened. Pointers to the object stay usable. Exceptions of the
  /// factory are reported.
  void close() noexcept;

  /// Returns a new pointer that shares the use; null if there is no use, or no such interface.
  /// \param interfaceId  null means any of the service's interfaces
  static std::shared_ptr<void> object(std::shared_ptr<ServiceUse> use, const std::string* interfaceId);
  static InterfaceMapConstPtr interfaces(std::shared_ptr<ServiceUse> use);
  /// Returns the service of a pointer that object() or interfaces() returned; null for any other pointer.
  static std::shared_ptr<ServiceRecord> serviceOf(const std::shared_ptr<void>& object);

 private:
  enum class Progress { making, ready, failed };

  /// Returns whether an object implements all interfaces; reports the missing one otherwise.
  bool isComplete(const InterfaceMapConstPtr& made);
  [[noreturn]] void reportAndRethrow(const Bundle& bundle);
  void reportFactoryException();
  /// Sends a framework event about the bundle that uses the service.
  template <class Exception>
  void report(FrameworkEvent::Type type, const std::string& message, const Exception& exception);
  bool finish(InterfaceMapConstPtr made);
  void returnToFactory(const InterfaceMapConstPtr& object) noexcept;

  // Constant after construction:
  const std::shared_ptr<ServiceRecord> record_;
  const ServiceClient user_;
  const std::shared_ptr<ServiceFactory> factory_;  // null for an existing object
  const std::thread::id maker_;

  std::mutex mutex_;
  std::condition_variable made_;
  // Guarded by `mutex_`:
  Progress progress_;
  bool closed_ = false;
  InterfaceMapConstPtr object_;  // constant, and read without the lock, once it is ready
};

}  // namespace cppmicroservices
