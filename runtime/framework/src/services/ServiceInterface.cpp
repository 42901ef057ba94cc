#include "cppmicroservices/ServiceInterface.h"

#include <cxxabi.h>

#include <cstdlib>

namespace cppmicroservices::detail {

std::string GetDemangledName(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                    std::free);
  return status == 0 ? name.get() : type.name();
}

const std::string& factoryInterfaceId() {
  static const std::string id = "org.cppmicroservices.factory";
  return id;
}

}  // namespace cppmicroservices::detail
