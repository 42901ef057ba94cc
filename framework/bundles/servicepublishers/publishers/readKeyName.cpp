#include "readKeyName.hpp"

#include <stdexcept>

#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "agent/spf/frameworksupport/keysInMessages.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::curveNameProperty;
using agent::spf::frameworksupport::expectedKeyName;
using agent::spf::frameworksupport::isKeyName;
using agent::spf::frameworksupport::quotedUnlessKey;

std::string readKeyName(const cppmicroservices::Any& value) {
  const std::string property = std::string("the framework property '") + curveNameProperty + "' is ";
  if (value.Empty()) {
    return "";
  }
  const auto* name = cppmicroservices::any_cast<std::string>(&value);
  if (name == nullptr) {
    throw std::runtime_error(property + "no text; expected a name of a key");
  }
  if (!name->empty() && !isKeyName(*name)) {
    throw std::runtime_error(property + quotedUnlessKey(*name) + ", which is no name of a key; expected " +
                             expectedKeyName);
  }
  return *name;
}

}  // namespace spf::publishers
