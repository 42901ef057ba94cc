#pragma once

#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <unordered_map>
#include <utility>

#include "cppmicroservices/GlobalConfig.h"
#include "cppmicroservices/ServiceException.h"

namespace cppmicroservices {

namespace detail {
/// Returns the type's name as it is written in source code.
US_Framework_EXPORT std::string GetDemangledName(const std::type_info& type);
}  // namespace detail

}  // namespace cppmicroservices

/// Returns the ID under which services of interface T are registered: the name given to
/// CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE, otherwise the type's demangled name; "" for void.
template <class T>
const std::string& us_service_interface_iid() {
  static const std::string name = cppmicroservices::detail::GetDemangledName(typeid(T));
  return name;
}

template <>
inline const std::string& us_service_interface_iid<void>() {
  static const std::string none;
  return none;
}

/// Gives a service interface an ID of its own. Use it in the global namespace, in the header that declares the
/// interface, before any use of the interface.
#define CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(type, id)   \
  template <>                                                  \
  inline const std::string& us_service_interface_iid<type>() { \
    static const std::string name(id);                         \
    return name;                                               \
  }

namespace cppmicroservices {

class ServiceFactory;

/// The implementation of a service: for each interface ID its pointer to that interface.
using InterfaceMap = std::unordered_map<std::string, std::shared_ptr<void>>;
using InterfaceMapPtr = std::shared_ptr<InterfaceMap>;
using InterfaceMapConstPtr = std::shared_ptr<const InterfaceMap>;

namespace detail {

/// Returns the ID under which an interface map holds a factory instead of an implementation.
US_Framework_EXPORT const std::string& factoryInterfaceId();

template <class T, class... List>
struct Contains : std::disjunction<std::is_same<T, List>...> {};

}  // namespace detail

/// Builds the interface map of an object that implements all the interfaces, or of a factory for such
/// objects. Converts to the map.
template <class... Interfaces>
class MakeInterfaceMap {
 public:
  template <class Impl>
  MakeInterfaceMap(const std::shared_ptr<Impl>& implementation) : map_(std::make_shared<InterfaceMap>()) {
    (map_->emplace(us_service_interface_iid<Interfaces>(), std::static_pointer_cast<Interfaces>(implementation)), ...);
  }

  /// \throws ServiceException if the factory is null
  MakeInterfaceMap(std::shared_ptr<ServiceFactory> factory) : map_(std::make_shared<InterfaceMap>()) {
    if (!factory) {
      throw ServiceException("The service factory argument must not be nullptr.");
    }
    (map_->emplace(us_service_interface_iid<Interfaces>(), nullptr), ...);
    map_->emplace(detail::factoryInterfaceId(), std::move(factory));
  }

  operator InterfaceMapPtr() { return map_; }
  operator InterfaceMapConstPtr() { return map_; }

 private:
  InterfaceMapPtr map_;
};

/// Returns the map's pointer to that interface, or null.
template <class Interface>
std::shared_ptr<Interface> ExtractInterface(const InterfaceMapConstPtr& map) {
  if (!map) {
    return nullptr;
  }
  const auto found = map->find(us_service_interface_iid<Interface>());
  return found == map->end() ? nullptr : std::static_pointer_cast<Interface>(found->second);
}

/// Returns the map's pointer to that interface, or null.
/// \param interfaceId  an empty one means any of the map's interfaces
inline std::shared_ptr<void> ExtractInterface(const InterfaceMapConstPtr& map, const std::string& interfaceId) {
  if (!map || map->empty()) {
    return nullptr;
  }
  const auto found = interfaceId.empty() ? map->begin() : map->find(interfaceId);
  return found == map->end() ? nullptr : found->second;
}

/// Marks a pointer that is to be registered as a factory and not as the service itself.
template <class T>
std::shared_ptr<ServiceFactory> ToFactory(const std::shared_ptr<T>& factory) {
  return std::static_pointer_cast<ServiceFactory>(factory);
}

}  // namespace cppmicroservices
