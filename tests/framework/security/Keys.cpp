#include "Keys.hpp"

#include <exception>
#include <fstream>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>
#include <zmq.h>

namespace spf::test {

namespace {

constexpr uid_t nobody = 65534;

}  // namespace

std::string secretText(const agent::spf::security::SecretKey& key) {
  char text[41];
  zmq_z85_encode(text, key.bytes().data(), key.bytes().size());
  return text;
}

bool reveals(const std::string& message, const std::string& secret) {
  constexpr std::size_t length = 8;
  for (std::size_t begin = 0; begin + length <= secret.size(); ++begin) {
    if (message.find(secret.substr(begin, length)) != std::string::npos) {
      return true;
    }
  }
  return false;
}

WithKeys::WithKeys() {
  // Others may pass through it.
  chmod(folder_.path().c_str(), S_IRWXU | S_IXGRP | S_IXOTH);
}

// A folder that a test has closed could not be deleted.
WithKeys::~WithKeys() {
  chmod(folder_.path().c_str(), S_IRWXU);
}

std::string WithKeys::write(const std::string& file, const std::string& content) const {
  const auto name = path(file);
  std::ofstream(name, std::ios::binary) << content;
  chmod(name.c_str(), S_IRUSR | S_IWUSR);
  return name;
}

std::string WithKeys::refusal(const std::function<void()>& function) const {
  try {
    function();
  } catch (const std::exception& error) {
    EXPECT_FALSE(reveals(error.what(), secret_)) << error.what();
    return error.what();
  }
  return "nothing refused";
}

AsNobody::AsNobody() {
  if (getuid() == 0 && seteuid(nobody) != 0) {
    throw std::runtime_error("cannot act as another user");
  }
}

AsNobody::~AsNobody() {
  if (getuid() == 0 && seteuid(0) != 0) {
    std::terminate();
  }
}

}  // namespace spf::test
