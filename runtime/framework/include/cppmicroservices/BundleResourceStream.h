#pragma once

#include <fstream>  // programs rely on getting it with this header
#include <ios>
#include <istream>
#include <sstream>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class BundleResource;

/// Reads the content of a resource. The constructor reads all of it into memory, so that the stream needs neither the
/// resource nor the bundle file afterwards.
class US_Framework_EXPORT BundleResourceStream : public std::istream {
 public:
  /// \param resource  a folder and an invalid resource read as an empty file
  /// \param mode  is ignored: every byte is read unchanged
  /// \throws std::runtime_error if the bundle file is gone or broken, or the resource is larger than 256 MiB
  BundleResourceStream(const BundleResource& resource, std::ios_base::openmode mode = std::ios_base::in);
  BundleResourceStream(const BundleResourceStream&) = delete;
  BundleResourceStream& operator=(const BundleResourceStream&) = delete;
  ~BundleResourceStream() override;

 private:
  std::stringbuf buffer_;
};

}  // namespace cppmicroservices
