#pragma once

#include <filesystem>
#include <memory>

#include "bundle/BundleReport.hpp"

namespace spfctl {

/// Looks into bundle files by installing them into a framework of its own, which is never started, so that none of
/// their code runs. Files are judged together: a symbolic name must not be given twice.
///
/// For one thread.
class BundleInspector {
 public:
  BundleInspector();
  ~BundleInspector();
  BundleInspector(const BundleInspector&) = delete;
  BundleInspector& operator=(const BundleInspector&) = delete;

  /// Never throws for what is wrong with the file: that stands in the report.
  BundleReport inspect(const std::filesystem::path& file);

 private:
  class Framework;

  std::unique_ptr<Framework> framework_;
};

}  // namespace spfctl
