#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace tovra::store {

// The file operations the bootstrap needs, behind an interface so that tests can make any of them fail.
// Failures throw std::runtime_error whose text says what failed in words. None of them ever removes or
// overwrites an existing file, except writeFile replacing its own target.
class FileOperations {
 public:
  virtual ~FileOperations() = default;
  // Creates the folder and any missing parents; an existing folder is fine.
  virtual void createDirectories(const std::filesystem::path& folder) = 0;
  // True for anything at the path: a file, a folder, a link.
  virtual bool exists(const std::filesystem::path& path) = 0;
  // The file's bytes; absent when it is missing or cannot be read.
  virtual std::optional<std::string> readFile(const std::filesystem::path& file) = 0;
  // Replaces the file's contents as a whole (a temporary file renamed over it).
  virtual void writeFile(const std::filesystem::path& file, std::string_view contents) = 0;
  // Copies a file or a whole folder; fails when the target exists.
  virtual void copy(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
  // Renames a file or folder; fails when the target exists.
  virtual void move(const std::filesystem::path& from, const std::filesystem::path& to) = 0;
};

class SystemFileOperations final : public FileOperations {
 public:
  void createDirectories(const std::filesystem::path& folder) override;
  bool exists(const std::filesystem::path& path) override;
  std::optional<std::string> readFile(const std::filesystem::path& file) override;
  void writeFile(const std::filesystem::path& file, std::string_view contents) override;
  void copy(const std::filesystem::path& from, const std::filesystem::path& to) override;
  void move(const std::filesystem::path& from, const std::filesystem::path& to) override;
};

}  // namespace tovra::store
