#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

namespace cppmicroservices {

class BundlePrivate;

/// Sees to it that a bundle is started, stopped or uninstalled by one thread at a time, without holding a
/// lock while the bundle's code runs. A thread that would wait for itself, be it through other threads that
/// wait for it, gets an exception instead. Any thread may use it.
class BundleOperations {
 public:
  /// One operation on one bundle, from its construction to its destruction.
  class Scope {
   public:
    /// Waits until no other thread works on the bundle.
    /// \param purpose  what is to be done, for messages: "started"
    /// \throws std::runtime_error if that would never end
    Scope(BundleOperations& operations, const BundlePrivate& bundle, const char* purpose);
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope();

   private:
    BundleOperations& operations_;
    const BundlePrivate& bundle_;
  };

  /// \return whether the calling thread is the one that works on the bundle
  bool isMine(const BundlePrivate& bundle) const;

 private:
  struct Running {
    std::thread::id thread;
    int depth = 0;  // a thread may begin again what a listener does once the bundle is settled
  };

  void begin(const BundlePrivate& bundle, const char* purpose);
  void end(const BundlePrivate& bundle);
  bool waitsForThisThread(const BundlePrivate& bundle) const;

  mutable std::mutex mutex_;
  std::condition_variable ended_;
  // guarded by mutex_
  std::map<const BundlePrivate*, Running> running_;
  std::map<std::thread::id, const BundlePrivate*> waiting_;
};

}  // namespace cppmicroservices
