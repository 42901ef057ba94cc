#include "agent/spf/security/TrustedKeys.hpp"

#include <algorithm>
#include <utility>

#include "agent/spf/security/keyFiles.hpp"

namespace agent::spf::security {

TrustedKeys::TrustedKeys(std::map<std::string, PublicKey> keys, std::vector<std::string> problems,
                         const std::filesystem::path& folder)
    : keys_(std::move(keys)), problems_(std::move(problems)) {
  std::map<PublicKey, std::vector<std::string>> owners;
  for (const auto& [name, key] : keys_) {
    owners[key].push_back(name);
  }
  for (const auto& [key, names] : owners) {
    if (names.size() == 1) {
      names_.emplace(key, names.front());
    } else {
      leaveOut(names, folder);
    }
  }
  std::sort(problems_.begin(), problems_.end());
}

void TrustedKeys::leaveOut(const std::vector<std::string>& names, const std::filesystem::path& folder) {
  for (const auto& name : names) {
    const auto& other = name == names.front() ? names.back() : names.front();
    problems_.push_back((folder / (name + publicKeySuffix)).native() + ": holds the key of '" + other +
                        "' as well; expected a key of its own, since neither is trusted");
    keys_.erase(name);
  }
}

const PublicKey* TrustedKeys::find(const std::string& name) const {
  const auto found = keys_.find(name);
  return found == keys_.end() ? nullptr : &found->second;
}

const std::string* TrustedKeys::nameOf(const PublicKey& key) const {
  const auto found = names_.find(key);
  return found == names_.end() ? nullptr : &found->second;
}

}  // namespace agent::spf::security
