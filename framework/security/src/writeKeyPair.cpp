#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include "Descriptor.hpp"
#include "Wiped.hpp"
#include "agent/spf/security/keyFiles.hpp"
#include "keyText.hpp"

namespace agent::spf::security {

namespace {

constexpr mode_t secretMode = S_IRUSR | S_IWUSR;
constexpr mode_t publicMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

[[noreturn]] void refuse(const std::filesystem::path& file, int error) {
  throw KeyFileError(file.native() + ": cannot be written: " + std::generic_category().message(error));
}

/// A file that gets its name when it is complete. Until then it has a hidden one beside it, which is gone at the end.
class NewFile {
 public:
  explicit NewFile(const std::filesystem::path& file)
      : file_(file),
        hidden_((file.parent_path() / ("." + file.filename().native() + "-XXXXXX")).native()),
        descriptor_(mkostemp(hidden_.data(), O_CLOEXEC)) {
    if (!descriptor_.isOpen()) {
      refuse(file_, errno);
    }
  }
  ~NewFile() { unlink(hidden_.c_str()); }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  void write(std::string_view text) const {
    while (!text.empty()) {
      const auto count = ::write(descriptor_.number(), text.data(), text.size());
      if (count >= 0) {
        text.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        refuse(file_, errno);
      }
    }
  }

  /// Gives the file its mode, whatever the process's mask takes away, and waits until it is on the disk.
  void complete(mode_t mode) {
    if (fchmod(descriptor_.number(), mode) != 0 || fsync(descriptor_.number()) != 0) {
      refuse(file_, errno);
    }
    // Some file systems report at the end only that there was no room.
    if (close(descriptor_.release()) != 0) {
      refuse(file_, errno);
    }
  }

  /// A link never takes the place of another file, as a renaming would.
  void publish() const {
    if (link(hidden_.c_str(), file_.c_str()) == 0) {
      return;
    }
    if (errno == EEXIST) {
      throw KeyFileError(file_.native() + ": exists already; expected another name or folder");
    }
    refuse(file_, errno);
  }

 private:
  const std::filesystem::path file_;
  std::string hidden_;
  Descriptor descriptor_;
};

}  // namespace

KeyPairFiles writeKeyPair(const KeyName& name, const SecretKey& key, const std::filesystem::path& folder) {
  KeyPairFiles files{folder / (name.text() + publicKeySuffix), folder / (name.text() + secretKeySuffix)};

  NewFile secretFile(files.secretKey);
  Wiped<KeyText> secret;
  encodeKey(key.bytes(), *secret);
  secretFile.write("# Secret key of " + name.text() + ". Whoever has it can pass for " + name.text() + ".\n");
  secretFile.write({secret->data(), keyLength});
  secretFile.write("\n");
  secretFile.complete(secretMode);

  NewFile publicFile(files.publicKey);
  publicFile.write("# Public key of " + name.text() + ", for the trust folders of its peers.\n");
  publicFile.write(key.publicKey().text() + "\n");
  publicFile.complete(publicMode);

  secretFile.publish();
  try {
    publicFile.publish();
  } catch (...) {
    unlink(files.secretKey.c_str());
    throw;
  }
  return files;
}

}  // namespace agent::spf::security
