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

/// One bundle's use of one service. The pointers that the bundle got share it; it ends with the last of them.
/// If the service comes from a factory, the use is what the factory made an object for, and the object goes
/// back to the factory when the use ends or is closed before, whichever is first. Any thread may use it.
class ServiceUse {
 public:
  /// A use of an object that is there.
  ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user, InterfaceMapConstPtr object);
  /// A use of an object that the calling thread is going to have made.
  ServiceUse(std::shared_ptr<ServiceRecord> record, ServiceClient user, std::shared_ptr<ServiceFactory> factory);
  ServiceUse(const ServiceUse&) = delete;
  ServiceUse& operator=(const ServiceUse&) = delete;
  ~ServiceUse();

  /// Calls the factory. To be called once, by the thread that made a use of a factory, without locks.
  /// \return false if it failed, which was reported
  /// \throws SharedLibraryException and SecurityException if the factory threw that, which is reported as well
  bool make();

  /// Waits until there is an object.
  /// \return false if making it failed, or would wait for the calling thread (which is reported)
  bool await();

  /// Gives the factory its object back, unless that has happened; what was handed out stays usable. Reports
  /// what the factory throws, and throws nothing.
  void close() noexcept;

  /// \return a new pointer that shares the use; null if there is no use or not that interface
  static std::shared_ptr<void> object(std::shared_ptr<ServiceUse> use, const std::string& interfaceId);
  static InterfaceMapConstPtr interfaces(std::shared_ptr<ServiceUse> use);
  /// \return the service that a pointer of these belongs to; null for any other pointer
  static std::shared_ptr<ServiceRecord> serviceOf(const std::shared_ptr<void>& object);

 private:
  enum class Progress { making, ready, failed };

  /// Reports what is missing.
  bool isComplete(const InterfaceMapConstPtr& made);
  [[noreturn]] void passOn(const Bundle& bundle);
  void reportFactoryException();
  /// Sends a framework event about the bundle that asked for the service.
  template <class Exception>
  void report(FrameworkEvent::Type type, const std::string& message, const Exception& exception);
  bool finish(InterfaceMapConstPtr made);
  void giveBack(const InterfaceMapConstPtr& object) noexcept;

  // constant after construction
  const std::shared_ptr<ServiceRecord> record_;
  const ServiceClient user_;
  const std::shared_ptr<ServiceFactory> factory_;  // null for an object that is there
  const std::thread::id maker_;

  std::mutex mutex_;
  std::condition_variable made_;
  // guarded by mutex_; the object is constant once it is ready
  Progress progress_;
  bool closed_ = false;
  InterfaceMapConstPtr object_;
};

}  // namespace cppmicroservices
