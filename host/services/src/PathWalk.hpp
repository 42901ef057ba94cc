#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>
#include "Descriptor.hpp"

namespace agent::host::services {

/// A path without symbolic links on it, but maybe one at its end, and what it has led to.
struct Lookup {
  std::string path;
  struct stat status;
};

/// The file or folder that a path leads to.
struct OpenedPath {
  std::filesystem::path path;  ///< absolute and without symbolic links
  Descriptor descriptor;       ///< refers to the file without reading it (`O_PATH`)
  struct stat status;          ///< of the file that the descriptor refers to

  /// The first folder on the path in which others may replace the file.
  std::optional<std::filesystem::path> writable;

  /// All that was looked up, in that order, beginning with `/`.
  std::vector<Lookup> lookups;
};

/// Returns whether a walk along these lookups would lead to the same file and find the same permissions. Takes one
/// `lstat` for each, where the walk takes three system calls.
///
/// Only users with write permission for one of the folders can redirect the path between two lookups, as in a walk.
bool areUnchanged(const std::vector<Lookup>& lookups);

/// Opens a path from `/` downwards, name by name, and checks the permissions of each folder in which a name is looked
/// up.
///
/// The walk reads symbolic links itself, so that the folder of every link is checked too. If others may write none of
/// these folders, they cannot redirect the path afterwards. "Others may write" means the mode bit for others. A sticky
/// folder is accepted above and outside of the installation root, because users cannot replace each other's files in
/// it; but not if it contains the file itself, because any user can add a file.
class PathWalk {
 public:
  enum class Goal { file, folder };

  /// Prepares walks.
  /// \param root  the installation root; absolute; need not exist
  explicit PathWalk(const std::filesystem::path& root);

  /// Opens a path.
  /// \param path  absolute
  /// \param goal  whether the path is expected to lead to a file, whose own folder is then checked more strictly
  /// \return nothing if there is no such file or folder
  /// \throws std::filesystem::filesystem_error naming the path if it cannot be opened for another reason
  std::optional<OpenedPath> open(const std::filesystem::path& path, Goal goal);

 private:
  /// Whether the check accepts sticky folders outside of the root.
  enum class StickyFolders { accepted, refused };

  struct Folder {
    Descriptor descriptor;
    struct stat status;
    std::string name;
    bool isInRoot;  ///< true for the root itself, too
  };

  void start(const std::filesystem::path& path);
  void prepend(const std::filesystem::path& names);
  std::optional<OpenedPath> walk(Goal goal);
  void enter(Descriptor folder, const struct stat& status, const std::string& name);
  void leave();
  void followLink(const Descriptor& link);
  void checkCurrent(StickyFolders sticky);
  std::filesystem::path pathOfCurrent() const;

  // Constant after construction; nothing if the root does not exist:
  std::optional<struct stat> root_;

  // The current walk:
  std::vector<Folder> folders_;     ///< opened, the outermost first
  std::vector<std::string> names_;  ///< still to be looked up, in reverse order
  std::vector<Lookup> lookups_;
  int links_ = 0;
  std::optional<std::filesystem::path> writable_;
};

}  // namespace agent::host::services
