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

/// A handle to one installed bundle. Copies are cheap and refer to the same bundle.
///
/// A handle keeps its framework running: when the last handle to a framework or to any of its bundles is destroyed, the
/// destructor stops the framework and waits for the stop. Different handles may be used by different threads at the
/// same time; the use of one handle object has to be synchronised by the caller.
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
  /// Returns whether framework and bundle ID are the same, or both handles are invalid.
  bool operator==(const Bundle& other) const;
  bool operator!=(const Bundle& other) const;
  /// Orders by framework, then by bundle ID; invalid handles are the greatest.
  bool operator<(const Bundle& other) const;

  State GetState() const;
  /// Returns the bundle's context; an invalid one while the bundle is not started.
  BundleContext GetBundleContext() const;
  /// Returns the bundle's ID: 0 for the system bundle, otherwise counted up from 1 and never used twice.
  long GetBundleId() const;
  std::string GetLocation() const;
  /// Returns the name of the directory in the bundle's archive that holds its manifest.
  std::string GetSymbolicName() const;
  /// Returns the version in the manifest; 0.0.0 if there is none.
  BundleVersion GetVersion() const;
  /// Returns the manifest, whose keys compare without regard to case. The reference is valid as long as there is a
  /// handle to the bundle.
  const AnyMap& GetHeaders() const;

  /// Looks up a file or folder in the archive in the bundle's file. The first look-up reads the archive.
  /// Needs the header BundleResource.h.
  /// \param path  relative to the bundle's own folder, with or without '/' in front; that of a folder ends in '/'. If
  ///        no name matches exactly, one that differs in case is found.
  /// \return an invalid resource if there is none, and always for a framework
  /// \throws std::runtime_error if the file is gone or holds no readable archive, std::logic_error if the bundle
  ///         is uninstalled
  BundleResource GetResource(const std::string& path) const;

  /// Finds files and folders by name.
  /// \param path  the folder to look in
  /// \param filePattern  a part of the names, with `*` for any text; an empty one matches all
  /// \param recurse  whether to search the folders in it too
  /// \return the files and folders, sorted by name in each folder; a folder's content precedes the folder
  /// \throws as GetResource
  std::vector<BundleResource> FindResources(const std::string& path, const std::string& filePattern,
                                            bool recurse) const;

  /// Returns the time at which the bundle was installed or uninstalled.
  TimeStamp GetLastModified() const;
  /// Returns the services that the bundle has registered.
  /// \throws std::logic_error if the bundle is uninstalled
  std::vector<ServiceReferenceU> GetRegisteredServices() const;
  /// Returns the services that the bundle uses.
  /// \throws std::logic_error if the bundle is uninstalled
  std::vector<ServiceReferenceU> GetServicesInUse() const;

  /// Looks up a symbol in a library.
  /// \return null if there is none of that name
  /// \throws std::invalid_argument for a null library or an empty name, std::runtime_error while the bundle
  ///         is not active
  void* GetSymbol(void* handle, const std::string& name) const;

  /// Returns the headers as ordered maps, nested ones included. Superseded by GetHeaders().
  US_DEPRECATED std::map<std::string, Any> GetProperties() const;
  /// Returns the header of exactly that name; else the framework's property; else an empty value.
  US_DEPRECATED Any GetProperty(const std::string& key) const;
  US_DEPRECATED std::vector<std::string> GetPropertyKeys() const;

  /// Starts the bundle and returns when its activator has returned. Starting an active bundle does nothing. Blocks
  /// while another thread starts, stops or uninstalls the bundle. On a framework: initialises it unless that has
  /// happened, and makes it active. \throws SharedLibraryException if the library cannot be loaded, the activator
  /// throws a std::system_error, or, as
  ///         SecurityException, if a bundle listener throws that
  /// \throws std::runtime_error naming bundle, location and reason if entry points are missing, the
  ///         activator throws, the framework was stopped, or this very thread is starting, stopping or uninstalling the
  ///         bundle; the bundle then is as before, and none of its services stay registered
  /// \throws std::logic_error if the bundle is uninstalled
  void Start(uint32_t options);
  void Start();

  /// Stops the bundle: runs its activator's Stop, then removes its listeners and services. Blocks as Start.
  /// On a framework: begins to stop it on a thread of its own and returns at once.
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
