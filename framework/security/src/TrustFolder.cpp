#include "agent/spf/security/TrustFolder.hpp"

#include <algorithm>
#include <utility>

#include "TrustFolderReader.hpp"

namespace agent::spf::security {

TrustFolder::TrustFolder(std::filesystem::path folder, std::function<void(const std::string&)> warning)
    : warning_(std::move(warning)),
      reader_(std::make_unique<Reader>(std::move(folder))),
      keys_(std::make_shared<const TrustedKeys>()) {
  publish(reader_->read());
}

TrustFolder::~TrustFolder() = default;

bool TrustFolder::refresh() {
  std::string shortage;
  bool isChanged = false;
  try {
    isChanged = publish(read(shortage));
  } catch (const UntrustedFolder& error) {
    isChanged = publish(TrustedKeys({}, {error.what()}, {}));
  }
  // Last, since a warning may take its time.
  if (std::exchange(shortage_, shortage) != shortage && !shortage.empty() && warning_) {
    warning_(shortage);
  }
  return isChanged;
}

// Sets the reason if there is a shortage, and judges what is known instead.
TrustedKeys TrustFolder::read(std::string& shortage) {
  try {
    return reader_->read();
  } catch (const Shortage& error) {
    shortage = error.what();
    return reader_->remaining(*keys());
  }
}

// Returns whether the keys or their problems are others than before.
bool TrustFolder::publish(TrustedKeys next) {
  const auto before = keys();
  if (next == *before) {
    return false;
  }
  const auto current = std::make_shared<const TrustedKeys>(std::move(next));
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    keys_ = current;
  }
  const auto& known = before->problems();
  for (const auto& problem : current->problems()) {
    if (warning_ && !std::binary_search(known.begin(), known.end(), problem)) {
      warning_(problem);
    }
  }
  return true;
}

std::shared_ptr<const TrustedKeys> TrustFolder::keys() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return keys_;
}

}  // namespace agent::spf::security
