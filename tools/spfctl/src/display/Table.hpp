#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace spfctl {

/// A table whose columns are as wide as they need to be. For one thread.
class Table {
 public:
  /// Adds a row. The texts hold no control characters (see `escaped`); rows may have different numbers of them.
  void add(std::vector<std::string> row);

  /// Writes the rows, each behind the indent.
  void print(std::ostream& stream, const std::string& indent) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace spfctl
