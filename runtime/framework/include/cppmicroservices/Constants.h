#pragma once

#include <string>

namespace cppmicroservices {

/// Names of properties and manifest headers, and values that they may have.
namespace Constants {

#pragma GCC visibility push(default)

extern const std::string SYSTEM_BUNDLE_LOCATION;
extern const std::string SYSTEM_BUNDLE_SYMBOLICNAME;

// Headers of a bundle's manifest.
extern const std::string BUNDLE_ACTIVATOR;
extern const std::string BUNDLE_CATEGORY;
extern const std::string BUNDLE_COPYRIGHT;
extern const std::string BUNDLE_DESCRIPTION;
extern const std::string BUNDLE_MANIFESTVERSION;
extern const std::string BUNDLE_NAME;
extern const std::string BUNDLE_VENDOR;
extern const std::string BUNDLE_VERSION;
extern const std::string BUNDLE_DOCURL;
extern const std::string BUNDLE_CONTACTADDRESS;
extern const std::string BUNDLE_SYMBOLICNAME;
extern const std::string BUNDLE_LOCALIZATION;
extern const std::string BUNDLE_LOCALIZATION_DEFAULT_BASENAME;
extern const std::string BUNDLE_ACTIVATIONPOLICY;
extern const std::string ACTIVATION_LAZY;

// Properties of the framework.
extern const std::string FRAMEWORK_VERSION;
extern const std::string FRAMEWORK_VENDOR;
extern const std::string FRAMEWORK_STORAGE;
extern const std::string FRAMEWORK_STORAGE_CLEAN;
extern const std::string FRAMEWORK_STORAGE_CLEAN_ONFIRSTINIT;
extern const std::string FRAMEWORK_THREADING_SUPPORT;
extern const std::string FRAMEWORK_THREADING_SINGLE;
extern const std::string FRAMEWORK_THREADING_MULTI;
extern const std::string FRAMEWORK_LOG;
extern const std::string FRAMEWORK_UUID;
extern const std::string FRAMEWORK_WORKING_DIR;
extern const std::string FRAMEWORK_BUNDLE_VALIDATION_FUNC;
extern const std::string FRAMEWORK_EXTRA_SHUTDOWN_FUNC;
extern const std::string LIBRARY_LOAD_OPTIONS;

// Properties of a service.
extern const std::string OBJECTCLASS;
extern const std::string SERVICE_ID;
extern const std::string SERVICE_PID;
extern const std::string SERVICE_RANKING;
extern const std::string SERVICE_VENDOR;
extern const std::string SERVICE_DESCRIPTION;
extern const std::string SERVICE_SCOPE;
extern const std::string SCOPE_SINGLETON;
extern const std::string SCOPE_BUNDLE;
extern const std::string SCOPE_PROTOTYPE;

#pragma GCC visibility pop

}  // namespace Constants
}  // namespace cppmicroservices
