#include "cppmicroservices/BundleVersion.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <vector>

namespace cppmicroservices {

namespace {

bool isQualifierCharacter(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_' || character == '-';
}

/// Returns the parts between the dots; a dot at the end begins no other part.
std::vector<std::string> splitAtDots(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, '.');) {
    parts.push_back(part);
  }
  return parts;
}

/// Parses the number at the beginning of a part, and ignores blanks before it and any text after it.
unsigned int numberFrom(const std::string& part, const std::string& version) {
  const auto begin = std::min(part.find_first_not_of(" \t\n\v\f\r"), part.size());
  unsigned int number = 0;
  if (std::from_chars(part.data() + begin, part.data() + part.size(), number).ec != std::errc()) {
    throw std::invalid_argument("invalid format: '" + version + "' is not major[.minor[.micro[.qualifier]]]");
  }
  return number;
}

}  // namespace

BundleVersion::BundleVersion(Undefined) : undefined_(true) {}

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion)
    : major_(majorVersion), minor_(minorVersion), micro_(microVersion) {}

BundleVersion::BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion,
                             std::string qualifier)
    : major_(majorVersion), minor_(minorVersion), micro_(microVersion), qualifier_(std::move(qualifier)) {
  if (!std::all_of(qualifier_.begin(), qualifier_.end(), isQualifierCharacter)) {
    throw std::invalid_argument("invalid qualifier: " + qualifier_);
  }
}

BundleVersion::BundleVersion(const std::string& version) : undefined_(version.empty()) {
  if (undefined_) {
    return;
  }
  auto parts = splitAtDots(version);
  if (parts.size() > 4) {
    throw std::invalid_argument("invalid format: '" + version + "' has more than four parts");
  }
  const auto qualifier = parts.size() > 3 ? std::move(parts[3]) : std::string();
  parts.resize(3, "0");
  *this = BundleVersion(numberFrom(parts[0], version), numberFrom(parts[1], version), numberFrom(parts[2], version),
                        qualifier);
}

BundleVersion::BundleVersion(const BundleVersion& version) = default;
BundleVersion& BundleVersion::operator=(const BundleVersion& other) = default;

BundleVersion BundleVersion::EmptyVersion() {
  return BundleVersion(0, 0, 0);
}

BundleVersion BundleVersion::UndefinedVersion() {
  return BundleVersion(Undefined());
}

BundleVersion BundleVersion::ParseVersion(const std::string& version) {
  const auto begin = version.find_first_not_of(' ');
  if (begin == std::string::npos) {
    return EmptyVersion();
  }
  return BundleVersion(version.substr(begin, version.find_last_not_of(' ') + 1 - begin));
}

bool BundleVersion::IsUndefined() const {
  return undefined_;
}

void BundleVersion::requireDefined() const {
  if (undefined_) {
    throw std::logic_error("Version undefined");
  }
}

unsigned int BundleVersion::GetMajor() const {
  requireDefined();
  return major_;
}

unsigned int BundleVersion::GetMinor() const {
  requireDefined();
  return minor_;
}

unsigned int BundleVersion::GetMicro() const {
  requireDefined();
  return micro_;
}

std::string BundleVersion::GetQualifier() const {
  requireDefined();
  return qualifier_;
}

std::string BundleVersion::ToString() const {
  if (undefined_) {
    return "undefined";
  }
  const auto numbers = std::to_string(major_) + "." + std::to_string(minor_) + "." + std::to_string(micro_);
  return qualifier_.empty() ? numbers : numbers + "." + qualifier_;
}

bool BundleVersion::operator==(const BundleVersion& other) const {
  if (undefined_ && other.undefined_) {
    return true;
  }
  requireDefined();
  return !other.undefined_ && Compare(other) == 0;
}

int BundleVersion::Compare(const BundleVersion& other) const {
  if (this == &other) {
    return 0;
  }
  if (undefined_ || other.undefined_) {
    throw std::logic_error("Cannot compare undefined version");
  }
  const auto left = std::tie(major_, minor_, micro_);
  const auto right = std::tie(other.major_, other.minor_, other.micro_);
  if (left != right) {
    return left < right ? -1 : 1;
  }
  return qualifier_.compare(other.qualifier_);
}

std::ostream& operator<<(std::ostream& out, const BundleVersion& version) {
  return out << version.ToString();
}

}  // namespace cppmicroservices
