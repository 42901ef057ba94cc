#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/stat.h>
#include "Descriptor.hpp"

namespace agent::host::services {

/// What a path leads to.
struct OpenedPath {
  std::filesystem::path path;  ///< absolute and without symbolic links
  Descriptor descriptor;       ///< names the file; reads nothing (`O_PATH`)
  struct stat status;          ///< of what the descriptor names

  /// The first folder on the way in which others may replace what the path leads to.
  std::optional<std::filesystem::path> writable;
};

/// Opens a path from `/` downwards, one name below the other, and judges each folder that a name is looked up in.
///
/// The system follows no symbolic link: the walk reads it and goes on with what it says, so that the folder of every
/// link is judged too. Where nobody else may write any of these folders, nobody else can let the path lead elsewhere
/// afterwards. "Others may write" means the mode bit for others. A sticky folder is accepted above the installation
/// root and outside of it, since nobody can replace what belongs to somebody else there; not if the file itself lies
/// in it, since anybody can add a file.
class PathWalk {
 public:
  enum class Goal { file, folder };

  /// \param root  the installation root; absolute; need not exist
  explicit PathWalk(const std::filesystem::path& root);

  /// \param path  absolute
  /// \return nothing if there is no such file or folder
  /// \throws std::filesystem::filesystem_error naming the path if it cannot be opened for another reason
  std::optional<OpenedPath> open(const std::filesystem::path& path, Goal goal);

 private:
  struct Folder {
    Descriptor descriptor;
    struct stat status;
    std::string name;
    bool isInRoot;  ///< the root itself counts
  };

  void begin(const std::filesystem::path& path);
  void prepend(const std::filesystem::path& names);
  std::optional<OpenedPath> goOn(Goal goal);
  void enter(Descriptor folder, const struct stat& status, const std::string& name);
  void leave();
  void followLink(const Descriptor& link);
  void judgeCurrent(bool holdsTheGoal);
  std::filesystem::path pathOfCurrent() const;

  // The root, if there is one.
  std::optional<struct stat> root_;

  // The walk under way.
  std::vector<Folder> folders_;     ///< opened, the outermost first
  std::vector<std::string> names_;  ///< still to be looked up, the next one last
  int links_ = 0;
  std::optional<std::filesystem::path> writable_;
};

}  // namespace agent::host::services
