#include "core/FrameworkProperties.h"

#include <dlfcn.h>

#include <filesystem>
#include <random>
#include <utility>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices {

namespace {

std::string randomId() {
  constexpr char digits[] = "0123456789abcdef";
  std::random_device device;
  std::string id;
  while (id.size() < 32) {
    id += digits[device() % 16];
  }
  return id;
}

template <class T>
void replaceUnlessHeld(Any& value, T standard) {
  if (value.Type() != typeid(T)) {
    value = std::move(standard);
  }
}

std::unordered_map<std::string, Any> completed(std::unordered_map<std::string, Any> values) {
  values.emplace(Constants::FRAMEWORK_LOG, false);
  values.emplace(Constants::FRAMEWORK_WORKING_DIR, std::filesystem::current_path().string());
  replaceUnlessHeld(values[Constants::FRAMEWORK_STORAGE], std::string("fwdir"));
  replaceUnlessHeld(values[Constants::LIBRARY_LOAD_OPTIONS], int{RTLD_LAZY | RTLD_LOCAL});
  values.emplace(Constants::FRAMEWORK_UUID, randomId());
  // These describe the framework and cannot be configured.
  values[Constants::FRAMEWORK_THREADING_SUPPORT] = Constants::FRAMEWORK_THREADING_MULTI;
  values[Constants::FRAMEWORK_VERSION] = std::string(US_VERSION_STR);
  values[Constants::FRAMEWORK_VENDOR] = std::string("SPF runtime");
  return values;
}

template <class Function>
Function functionAt(const std::unordered_map<std::string, Any>& values, const std::string& key) {
  const auto found = values.find(key);
  return found == values.end() ? Function() : any_cast<Function>(found->second);
}

std::string storageFolder(const std::unordered_map<std::string, Any>& values) {
  const std::filesystem::path working = any_cast<std::string>(values.at(Constants::FRAMEWORK_WORKING_DIR));
  return (working / any_cast<std::string>(values.at(Constants::FRAMEWORK_STORAGE))).string();
}

}  // namespace

FrameworkProperties::FrameworkProperties(const std::unordered_map<std::string, Any>& given)
    : values_(completed(given)),
      logEnabled_(any_cast<bool>(values_.at(Constants::FRAMEWORK_LOG))),
      libraryLoadOptions_(any_cast<int>(values_.at(Constants::LIBRARY_LOAD_OPTIONS))),
      storage_(storageFolder(values_)),
      validation_(functionAt<decltype(validation_)>(values_, Constants::FRAMEWORK_BUNDLE_VALIDATION_FUNC)),
      extraShutdown_(functionAt<decltype(extraShutdown_)>(values_, Constants::FRAMEWORK_EXTRA_SHUTDOWN_FUNC)) {}

Any FrameworkProperties::value(const std::string& key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? Any() : found->second;
}

AnyMap FrameworkProperties::all() const {
  return AnyMap(values_);
}

}  // namespace cppmicroservices
