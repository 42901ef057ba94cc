#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace spfctl {

/// Returns whether a text may be the name of a host: 1 to 64 letters, digits, dots, hyphens and underscores, without a
/// leading dot.
bool isHostName(const std::string& text);

/// The folder that holds the control sockets of one user's hosts. Only that user may enter it.
class ControlFolder {
 public:
  enum class Purpose {
    serve,  ///< for a host: the folder is created if it is missing, and has to be the user's own
    ask     ///< for a client: a missing folder holds no host; root may use any user's
  };

  /// Returns where this user's hosts are unless a folder is named: `$XDG_RUNTIME_DIR/spfctl`; without that variable
  /// `/run/spfctl` for root, and `/tmp/spfctl-UID` for others.
  static std::filesystem::path standard();

  /// Checks the folder.
  /// \param path  empty: the standard one
  /// \throws ControlError if it cannot be created or entered, is no folder (a symbolic link is none), belongs to
  /// another
  ///         user, or may be entered by others
  ControlFolder(std::filesystem::path path, Purpose purpose);

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path socketOf(const std::string& host) const { return path_ / (host + ".sock"); }
  std::filesystem::path lockOf(const std::string& host) const { return path_ / (host + ".lock"); }

  /// Returns the hosts that have a socket here, sorted. It may be left over from one that was killed.
  std::vector<std::string> hosts() const;

 private:
  std::filesystem::path path_;
};

}  // namespace spfctl
