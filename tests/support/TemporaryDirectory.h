#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace tandemview {

/// A new directory that is removed with everything in it.
class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_("/tmp/tandemview-test-XXXXXX") {
    if (!::mkdtemp(path_.data())) path_.clear();
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace tandemview
