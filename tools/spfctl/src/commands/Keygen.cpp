#include "commands/Keygen.hpp"

#include <exception>
#include <ostream>

#include "agent/spf/security/keyFiles.hpp"
#include "display/terminalText.hpp"

namespace spfctl {

namespace security = agent::spf::security;

ExitCode keygen(const KeygenOptions& options, const Output& output) {
  try {
    const auto key = security::SecretKey::generate();
    const auto files = security::writeKeyPair(security::KeyName(options.name), key, options.folder);
    output.out << "secret  " << escaped(files.secretKey.native()) << '\n'
               << "public  " << escaped(files.publicKey.native()) << "  " << key.publicKey().text() << '\n';
    return ExitCode::done;
  } catch (const std::exception& error) {
    output.err << "spfctl keygen: " << escaped(error.what()) << std::endl;
    return ExitCode::failedAtRunTime;
  }
}

}  // namespace spfctl
