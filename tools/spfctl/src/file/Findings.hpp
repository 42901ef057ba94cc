#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "file/SourceText.hpp"

namespace spfctl {

/// One error or warning about a place in a text.
struct Finding {
  enum class Severity { error, warning };

  Severity severity;
  std::size_t offset;
  std::string message;  ///< what was found; what was expected
};

/// All that is to be said about one text.
class Findings {
 public:
  /// How many errors and how many warnings of one text are shown.
  static constexpr std::size_t shownOfEach = 20;

  void error(std::size_t offset, std::string message);
  void warning(std::size_t offset, std::string message);

  std::size_t errors() const { return errors_; }
  std::size_t warnings() const { return all_.size() - errors_; }

  /// Returns the same findings with all warnings as errors.
  Findings asErrors() const;

  /// Returns all of them in the order of the text.
  std::vector<Finding> sorted() const;

  /// Returns the first ones of each severity, in the order of the text.
  std::vector<Finding> shown() const;

 private:
  std::vector<Finding> all_;
  std::size_t errors_ = 0;
};

/// Writes what `shown` returns, each as `name:line:column: message` (warnings with `warning: ` before the message)
/// with its line and a caret below, and how many are left out. Control characters are escaped.
void print(std::ostream& stream, const SourceText& source, const Findings& findings);

/// The same for errors alone.
void printErrors(std::ostream& stream, const SourceText& source, const Findings& findings);

}  // namespace spfctl
