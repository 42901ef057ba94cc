#include "KeyFile.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include "Wiped.hpp"
#include "agent/spf/security/keyFiles.hpp"
#include "keyText.hpp"
#include "protection.hpp"

namespace agent::spf::security {

namespace {

constexpr std::size_t largestFile = 4096;
constexpr auto expectedKey = "; expected one line of 40 characters of Z85";

/// One byte more than a key file has, so that a larger one is noticed.
using FileText = std::array<char, largestFile + 1>;

std::string_view trimmed(std::string_view line) {
  constexpr auto whiteSpace = " \t\r\f\v";
  const auto begin = line.find_first_not_of(whiteSpace);
  return begin == std::string_view::npos ? std::string_view()
                                         : line.substr(begin, line.find_last_not_of(whiteSpace) - begin + 1);
}

// Returns an error's number, or 0.
int readAll(int descriptor, FileText& text, std::size_t& size) {
  while (size < text.size()) {
    const auto count = ::read(descriptor, text.data() + size, text.size() - size);
    if (count == 0) {
      return 0;
    }
    if (count > 0) {
      size += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

/// Finds the only key among the lines of a file.
class Lines {
 public:
  /// Takes the next line. \return why it must not be there; no value if it may
  std::optional<std::string> add(std::string_view line) {
    ++number_;
    line = trimmed(line);
    if (line.empty() || isComment(line.front())) {
      return std::nullopt;
    }
    if (!key_.empty()) {
      return "something after the key";
    }
    key_ = line;
    numberOfKey_ = number_;
    return whyNoKey(line);
  }

  std::size_t number() const { return number_; }
  std::size_t numberOfKey() const { return numberOfKey_; }
  std::string_view key() const { return key_; }

 private:
  std::size_t number_ = 0;
  std::size_t numberOfKey_ = 0;
  std::string_view key_;
};

}  // namespace

Descriptor openForReading(int folder, const char* path) noexcept {
  return Descriptor(openat(folder, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
}

KeyFile::KeyFile(Descriptor descriptor, std::string name) : descriptor_(std::move(descriptor)), name_(std::move(name)) {
  if (fstat(descriptor_.number(), &status_) != 0) {
    refuse("cannot be read: " + std::generic_category().message(errno));
  }
  if (!S_ISREG(status_.st_mode)) {
    refuse(std::string(S_ISDIR(status_.st_mode) ? "is a folder" : "is no regular file") + "; expected a key file");
  }
}

void KeyFile::requireSecret() const {
  if (status_.st_uid != geteuid()) {
    refuse("belongs to user " + std::to_string(status_.st_uid) + "; expected user " + std::to_string(geteuid()));
  }
  if ((status_.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    refuse("has the permissions " + octal(status_.st_mode) +
           "; expected 0600, since only its owner may have a secret key");
  }
}

void KeyFile::requireProtected() const {
  if (const auto reason = whyUnprotected(status_, 0644, "a key that is trusted")) {
    refuse(*reason);
  }
}

void KeyFile::read(KeyBytes& key) const {
  Wiped<FileText> text;
  std::size_t size = 0;
  if (const int error = readAll(descriptor_.number(), *text, size); error != 0) {
    refuse("cannot be read: " + std::generic_category().message(error));
  }
  if (size > largestFile) {
    refuse("more than " + std::to_string(largestFile) + " bytes" + expectedKey);
  }
  Lines lines;
  for (std::string_view rest(text->data(), size); !rest.empty();) {
    const auto end = std::min(rest.find('\n'), rest.size());
    if (const auto reason = lines.add(rest.substr(0, end))) {
      refuse(lines.number(), *reason);
    }
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  if (lines.key().empty()) {
    refuse("no key" + std::string(expectedKey) + " that does not begin with #");
  }
  Wiped<KeyText> keyText;
  std::copy(lines.key().begin(), lines.key().end(), keyText->begin());
  if (!decodeKey(*keyText, key)) {
    refuse(lines.numberOfKey(), "a number beyond those of Z85");
  }
}

void KeyFile::refuse(const std::string& reason) const {
  throw KeyFileError(name_ + ": " + reason);
}

void KeyFile::refuse(std::size_t line, const std::string& reason) const {
  throw KeyFileError(name_ + ":" + std::to_string(line) + ": " + reason + expectedKey);
}

}  // namespace agent::spf::security
