#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"
#include "cppmicroservices/GlobalConfig.h"

namespace cppmicroservices {

class BundleContext;
class BundlePrivate;
class BundleResource;
class FrameworkLease;

template <class S>
class ServiceReference;
using ServiceReferenceU = ServiceReference<void>;

namespace detail {
struct HandleAccess;
}

/// A handle to one installed bundle. Copies are cheap and mean the same bundle.
///
/// A handle keeps its framework going: when the last handle of a framework (bundles and the framework
/// alike) is destroyed, the framework is stopped and the destructor waits for that. Different handles may
/// be used by different threads at the same time; one handle object needs the caller's care, as any value.
///
/// Every method but the conversion to bool, comparison and assignment throws std::invalid_argument on a
/// default constructed or moved-from handle.
class US_Framework_EXPORT Bundle {
 public:
  using TimeStamp = std::chrono::steady_clock::time_point;

  enum State : uint32_t {
    STATE_UNINSTALLED = 0x00000001,
    STATE_INSTALLED = 0x00000002,
    STATE_RESOLVED = 0x00000004,
    STATE_STARTING = 0x00000008,
    STATE_STOPPING = 0x00000010,
    STATE_ACTIVE = 0x00000020
  };
  enum StartOptions : uint32_t { START_TRANSIENT = 0x00000001, START_ACTIVATION_POLICY = 0x00000002 };
  enum StopOptions : uint32_t { STOP_TRANSIENT = 0x00000001 };

  Bundle();
  Bundle(const Bundle& other);
  Bundle(Bundle&& other) noexcept;
  Bundle& operator=(const Bundle& other);
  Bundle& operator=(Bundle&& other) noexcept;
  Bundle& operator=(std::nullptr_t);
  virtual ~Bundle();

  explicit operator bool() const;
  /// Handles are equal when framework and bundle ID are the same, or both mean no bundle.
  bool operator==(const Bundle& other) const;
  bool operator!=(const Bundle& other) const;
  /// Orders by framework, then by bundle ID; handles to no bundle come last.
  bool operator<(const Bundle& other) const;

  State GetState() const;
  /// \return the bundle's context; an invalid one while the bundle is not started
  BundleContext GetBundleContext() const;
  /// \return 0 for the system bundle; otherwise counted up from 1, never used twice
  long GetBundleId() const;
  std::string GetLocation() const;
  /// \return the name of the directory in the bundle's archive that holds its manifest
  std::string GetSymbolicName() const;
  /// \return 0.0.0 if the manifest names no version
  BundleVersion GetVersion() const;
  /// \return the manifest; keys compare without regard to case. Lives as long as a handle to the bundle.
  const AnyMap& GetHeaders() const;

  /// Looks a file or folder up in the archive in the bundle's file, which is read when the first one is asked for.
  /// Needs the header BundleResource.h.
  /// \param path  from the bundle's own folder, with or without '/' in front; that of a folder ends in '/'. If no
  ///        name is the same to the letter, one that differs in case is found.
  /// \return an invalid resource if there is none, and always for a framework
  /// \throws std::runtime_error if the file is gone or holds no readable archive, std::logic_error if the bundle
  ///         is uninstalled
  BundleResource GetResource(const std::string& path) const;

  /// Finds files and folders by name.
  /// \param path  the folder to look in
  /// \param filePattern  what the names contain, with `*` for any text; an empty one means all
  /// \param recurse  whether to look in its folders too
  /// \return sorted by name in each folder; what is in a folder comes before the folder
  /// \throws as GetResource
  std::vector<BundleResource> FindResources(const std::string& path, const std::string& filePattern,
                                            bool recurse) const;

  /// \return when the bundle was installed or uninstalled
  TimeStamp GetLastModified() const;
  /// \throws std::logic_error if the bundle is uninstalled
  std::vector<ServiceReferenceU> GetRegisteredServices() const;
  /// \throws std::logic_error if the bundle is uninstalled
  std::vector<ServiceReferenceU> GetServicesInUse() const;

  /// Looks a symbol up in a library.
  /// \return null if there is none of that name
  /// \throws std::invalid_argument for a null library or an empty name, std::runtime_error while the bundle
  ///         is not active
  void* GetSymbol(void* handle, const std::string& name) const;

  /// Superseded by GetHeaders(), from which it makes ordered maps, nested ones too.
  US_DEPRECATED std::map<std::string, Any> GetProperties() const;
  /// \return the header of exactly that name; else the framework's property; else an empty value
  US_DEPRECATED Any GetProperty(const std::string& key) const;
  US_DEPRECATED std::vector<std::string> GetPropertyKeys() const;

  /// Starts the bundle and returns when its activator did. Starting an active bundle does nothing. While
  /// another thread starts, stops or uninstalls the bundle, this waits for it.
  /// On the framework itself: initialises it, if need be, and makes it active.
  /// \throws SharedLibraryException if the library cannot be loaded, the activator throws a std::system_error, or, as
  ///         SecurityException, if a bundle listener throws that
  /// \throws std::runtime_error naming bundle, location and reason if entry points are missing, the
  ///         activator throws, the framework was stopped, or the bundle is just being started, stopped or
  ///         uninstalled by this very thread; the bundle then is as before, and none of its services stay
  /// \throws std::logic_error if the bundle is uninstalled
  void Start(uint32_t options);
  void Start();

  /// Stops the bundle: runs its activator's Stop, then removes its listeners and services. Blocks as Start.
  /// On the framework itself: begins to stop it on a thread of its own and returns at once.
  /// \throws std::runtime_error if the activator throws (the bundle is stopped all the same)
  /// \throws std::logic_error if the bundle is uninstalled
  void Stop(uint32_t options);
  void Stop();

  /// Stops the bundle if it is active, and removes it from the framework. Blocks as Start.
  /// \throws std::logic_error if the bundle is uninstalled already; std::runtime_error for a framework
  void Uninstall();

 protected:
  Bundle(std::shared_ptr<BundlePrivate> bundle, std::shared_ptr<FrameworkLease> lease);

  const std::shared_ptr<BundlePrivate>& valid() const;

  std::shared_ptr<BundlePrivate> bundle_;
  std::shared_ptr<FrameworkLease> lease_;

  friend struct detail::HandleAccess;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const Bundle& bundle);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const Bundle* bundle);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, Bundle::State state);

}  // namespace cppmicroservices

US_HASH_FUNCTION_BEGIN(cppmicroservices::Bundle)
return std::hash<std::string>()(arg.GetSymbolicName());
US_HASH_FUNCTION_END
