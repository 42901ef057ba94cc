#include "commands/keyOptions.hpp"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/frameworksupport/keysInMessages.hpp"
#include "agent/spf/security/KeyName.hpp"
#include "agent/spf/security/TrustFolder.hpp"
#include "agent/spf/security/keyFiles.hpp"
#include "display/terminalText.hpp"
#include "file/nearestName.hpp"

namespace spfctl {

namespace {

namespace interfaces = agent::spf::frameworkinterfaces;
namespace frameworksupport = agent::spf::frameworksupport;
namespace security = agent::spf::security;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

void refuseProperty(const FrameworkOptions& options, const std::string& property, const std::string& option) {
  if (options.properties.count(property) != 0) {
    throw UsageError("--property " + property + " is given beside " + option + ", which sets it; expected one of them");
  }
}

// Messages name the file, so a key in its place would be in them.
void refuseKeyItself(const std::string& option, const std::filesystem::path& given, const std::string& expected) {
  if (frameworksupport::mayHoldKey(given)) {
    throw UsageError(option + " is a text that may be a key, and " + expected);
  }
}

void requireBoth(const FrameworkOptions& options) {
  if (options.trust.empty()) {
    throw UsageError("--key without --trust; expected the folder of the public keys that are trusted, too");
  }
  if (options.key.empty()) {
    throw UsageError("--trust without --key; expected the file of the host's secret key, too");
  }
}

void checkStem(const FrameworkOptions& options) {
  const auto stem = options.key.stem().native();
  if (!security::isKeyName(stem)) {
    throw UsageError("--key is '" + options.key.native() + "', and '" + stem + "' is no name of a key; expected " +
                     security::expectedKeyName + ", or --property " + interfaces::curveNameProperty + "=NAME");
  }
}

void checkNameProperty(const Any& value) {
  const auto* const text = any_cast<std::string>(&value);
  if (text == nullptr || !security::isKeyName(*text)) {
    throw UsageError(std::string("--property ") + interfaces::curveNameProperty + " is " +
                     (text == nullptr ? "JSON" : frameworksupport::quotedUnlessKey(*text)) +
                     "; expected a name of a key: " + security::expectedKeyName);
  }
}

void warn(std::ostream& messages, const std::string& text) {
  messages << "spfctl: warning: " << escaped(text) << std::endl;
}

void checkTrust(const std::filesystem::path& folder, std::ostream& messages) {
  const auto trusted = security::TrustFolder(folder, nullptr).keys();
  for (const auto& problem : trusted->problems()) {
    warn(messages, problem);
  }
  if (trusted->keys().empty()) {
    warn(messages, folder.native() + ": nobody is trusted; expected a file NAME.pub for each peer");
  }
}

}  // namespace

void checkKeys(const FrameworkOptions& options) {
  if (options.key.empty() && options.trust.empty()) {
    return;
  }
  refuseKeyItself("--key", options.key, "no file; expected the name of the file that holds the key");
  refuseKeyItself("--trust", options.trust, "no folder; expected the name of the folder of the keys that are trusted");
  requireBoth(options);
  refuseProperty(options, interfaces::curveSecretKeyProperty, "--key");
  refuseProperty(options, interfaces::curveTrustProperty, "--trust");
  const auto name = options.properties.find(interfaces::curveNameProperty);
  if (name == options.properties.end()) {
    checkStem(options);
  } else {
    checkNameProperty(name->second);
  }
}

bool addKeyProperties(const FrameworkOptions& options, std::map<std::string, Any>& properties, std::ostream& messages) {
  if (options.key.empty()) {
    return true;
  }
  // Bundles are told full names, which stay good wherever the process goes.
  const auto key = std::filesystem::absolute(options.key);
  const auto trust = std::filesystem::absolute(options.trust);
  try {
    static_cast<void>(security::readSecretKey(key));
    checkTrust(trust, messages);
  } catch (const security::KeyFileError& error) {
    messages << "spfctl: " << escaped(error.what()) << std::endl;
    return false;
  }
  properties.emplace(interfaces::curveNameProperty, key.stem().native());  // unless a property gives another one
  properties[interfaces::curveSecretKeyProperty] = key.native();
  properties[interfaces::curveTrustProperty] = trust.native();
  return true;
}

void warnOfUnknownPublishers(const FrameworkOptions& options, const ConfigurationDescription& description,
                             std::ostream& messages) {
  const auto property = options.properties.find(interfaces::curveAllowProperty);
  const auto* const allowed = property == options.properties.end() ? nullptr : any_cast<AnyMap>(&property->second);
  if (allowed == nullptr) {
    return;  // anything but a map is an error of the bundle that reads it
  }
  std::vector<std::string> known;
  for (const auto& publisher : description.servicePublishers) {
    known.push_back(publisher.uniqueID);
  }
  std::set<std::string> ids;
  for (const auto& entry : *allowed) {
    ids.insert(entry.first);
  }
  for (const auto& id : ids) {
    if (std::find(known.begin(), known.end(), id) == known.end()) {
      const auto nearest = nearestName(id, known);
      warn(messages, std::string(interfaces::curveAllowProperty) + ": no publisher of the configuration has the ID " +
                         frameworksupport::quotedUnlessKey(id) + ", so its entry protects none" +
                         (nearest.empty() ? "" : "; did you mean '" + nearest + "'?"));
    }
  }
}

}  // namespace spfctl
