#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace tovra::store::testing {

// A fresh folder under the system's temporary folder, removed with everything in it afterwards.
class TempDir final {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tovra-store-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code error;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, error);
    std::filesystem::remove_all(path_, error);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tovra::store::testing
