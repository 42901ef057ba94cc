#include "TemporaryFolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace agent::host::services {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "spf-host-XXXXXX").native();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "Cannot make the temporary folder '" + name + "'");
  }
  path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace agent::host::services
