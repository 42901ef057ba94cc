#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace spfctl {

/// A file that cannot be read. The message names it.
class FileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text of a file, and where in it things are.
class SourceText {
 public:
  /// A place for people: lines and columns count from 1, columns in characters.
  struct Place {
    std::size_t line;
    std::size_t column;
    std::size_t lineBegin;  ///< offset of the line's first byte
    std::size_t lineEnd;    ///< offset behind its last byte, the end of line not included
  };

  /// \param name  the file's name, for messages
  SourceText(std::string name, std::string text);

  const std::string& name() const { return name_; }
  const std::string& text() const { return text_; }

  /// Returns the place of an offset, that of the end for offsets behind it. Reads the text up to there.
  Place placeOf(std::size_t offset) const;

 private:
  std::string name_;
  std::string text_;
};

/// Reads a file, or standard input for "-".
/// \param what  what is expected, for messages
/// \throws FileError for what cannot be read and for folders
SourceText readSource(const std::string& file, const char* what = "a configuration file");

}  // namespace spfctl
