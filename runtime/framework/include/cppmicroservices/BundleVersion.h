#pragma once

#include <ostream>
#include <string>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// The version of a bundle: major.minor.micro[.qualifier].
class US_Framework_EXPORT BundleVersion {
 public:
  /// Returns 0.0.0.
  static BundleVersion EmptyVersion();
  /// Returns the version of something that has none; all its getters throw std::logic_error.
  static BundleVersion UndefinedVersion();

  BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion);
  /// \throws std::invalid_argument if the qualifier holds anything but letters, digits, '_' and '-'
  BundleVersion(unsigned int majorVersion, unsigned int minorVersion, unsigned int microVersion, std::string qualifier);
  /// \param version  "major[.minor[.micro[.qualifier]]]"; an empty text gives the undefined version
  /// \throws std::invalid_argument if the text is not of that form
  BundleVersion(const std::string& version);
  BundleVersion(const BundleVersion& version);

  /// Makes a version as the constructor from text, but ignores surrounding blanks, and makes 0.0.0 of an empty text.
  static BundleVersion ParseVersion(const std::string& version);

  bool IsUndefined() const;
  unsigned int GetMajor() const;
  unsigned int GetMinor() const;
  unsigned int GetMicro() const;
  std::string GetQualifier() const;
  std::string ToString() const;

  /// Returns whether both are equal, or both undefined.
  /// \throws std::logic_error if only the left side is undefined
  bool operator==(const BundleVersion& other) const;
  /// Compares two versions; qualifiers compare as text.
  /// \return a negative number, zero, or a positive number
  /// \throws std::logic_error if one of the two is undefined
  int Compare(const BundleVersion& other) const;

 private:
  friend class BundlePrivate;

  struct Undefined {};
  explicit BundleVersion(Undefined);
  BundleVersion& operator=(const BundleVersion& other);

  void requireDefined() const;

  unsigned int major_ = 0;
  unsigned int minor_ = 0;
  unsigned int micro_ = 0;
  std::string qualifier_;
  bool undefined_ = false;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const BundleVersion& version);

}  // namespace cppmicroservices
