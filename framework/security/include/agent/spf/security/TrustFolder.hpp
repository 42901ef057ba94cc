#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "agent/spf/security/TrustedKeys.hpp"

namespace agent::spf::security {

/// The public keys of a folder, which holds a file `NAME.pub` for each peer that is trusted. Other files and hidden
/// ones are ignored. A file that holds no key or is not named after one, that is not protected, or whose key another
/// file holds too is left out, with one warning that names it.
///
/// The folder and each file have to belong to the effective user or to root, and neither their group nor others may
/// write there: whoever can put a key there decides who is let in. Symbolic links are followed, and what they lead to
/// is judged.
///
/// The folder is read by `refresh` only; no descriptor stays open and no thread waits for changes. So whoever uses the
/// keys calls it before decisions that have to be up to date, and now and then, every second for example, if
/// connections are to end when their key is removed. A watch by inotify would save that, but it does not see what other
/// machines change in a folder of the network, and loses a folder that is replaced as a whole.
///
/// A key is best replaced by renaming a file over the old one: a file that is read while it is being written holds no
/// key for that moment.
///
/// `refresh` may be called by one thread at a time. Any thread may call `keys` at any time; what it returns never
/// changes.
class TrustFolder {
 public:
  /// Reads the folder.
  /// \param folder   the folder itself is judged when it is read, the folders above it are not
  /// \param warning  called with each problem when it is new, by the thread that constructs or refreshes; may be empty
  /// \throws KeyFileError  if the folder cannot be read or is not protected
  TrustFolder(std::filesystem::path folder, std::function<void(const std::string&)> warning);

  ~TrustFolder();
  TrustFolder(const TrustFolder&) = delete;
  TrustFolder& operator=(const TrustFolder&) = delete;

  /// Lists the folder and reads the files in it that may have changed. Blocks on the file system only: each file costs
  /// a `stat` and, if it held no key, if its status has changed, or if that was in the last two seconds, its reading.
  ///
  /// If the folder is not there any more, cannot be read or is not protected, nobody is trusted until that has ended.
  /// Only a shortage of descriptors or memory is different, which a stranger can cause by opening connections: no key
  /// is added then, and each one stays only if `stat`, which needs no descriptor, shows the same folder and an
  /// unchanged file. A file that was read within two seconds of its last change may have changed unseen, so its key is
  /// dropped. Either case is warned of once.
  ///
  /// \return whether `keys` returns others than before
  bool refresh();

  /// Returns the keys that were read last; never null.
  std::shared_ptr<const TrustedKeys> keys() const;

 private:
  class Reader;

  TrustedKeys read(std::string& shortage);
  bool publish(TrustedKeys next);

  // Constant after construction:
  const std::function<void(const std::string&)> warning_;

  // Of the thread that refreshes:
  std::unique_ptr<Reader> reader_;
  std::string shortage_;  // why the last refresh read nothing; empty if it had no shortage

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::shared_ptr<const TrustedKeys> keys_;
};

}  // namespace agent::spf::security
