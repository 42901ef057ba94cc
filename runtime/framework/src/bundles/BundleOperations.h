#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace cppmicroservices {

class BundlePrivate;

/// Ensures that only one thread at a time starts, stops or uninstalls a bundle, without a lock while the bundle's code
/// runs. A thread that would wait for itself, directly or through other threads that wait for it, gets an exception
/// instead. Any thread may use it.
class BundleOperations {
 public:
  /// One operation on one bundle, from its construction to its destruction.
  class Scope {
   public:
    /// Blocks until no other thread works on the bundle.
    /// \param purpose  the operation for messages, as in "cannot be started"
    /// \throws std::runtime_error if the wait would never end
    Scope(BundleOperations& operations, const BundlePrivate& bundle, const char* purpose);
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();

   private:
    BundleOperations& operations_;
    const BundlePrivate& bundle_;
  };

  /// Returns whether the calling thread works on the bundle.
  bool isMine(const BundlePrivate& bundle) const;

 private:
  struct Running {
    std::thread::id thread;
    int depth = 0;  // greater than 1 if a listener begins another operation on a settled bundle
  };

  void begin(const BundlePrivate& bundle, const char* purpose);
  void end(const BundlePrivate& bundle);
  bool isWaitingForThisThread(const BundlePrivate& bundle) const;

  mutable std::mutex mutex_;
  std::condition_variable ended_;
  // Guarded by `mutex_`:
  std::map<const BundlePrivate*, Running> running_;
  std::map<std::thread::id, const BundlePrivate*> waiting_;
};

}  // namespace cppmicroservices
